// Runs a clean-up when a scope ends, unless dismissed.
#pragma once

#include <utility>

namespace quv {

template <class F>
class ScopeGuard {
public:
    explicit ScopeGuard(F f) : f_(std::move(f)) {}
    ~ScopeGuard() {
        if (armed_) f_();
    }
    ScopeGuard(const ScopeGuard&) = delete;
    ScopeGuard& operator=(const ScopeGuard&) = delete;
    void dismiss() { armed_ = false; }

private:
    F f_;
    bool armed_ = true;
};

}  // namespace quv
