// Reads the fields of a fuzz input in order; past its end every field is 0,
// so each input, however short, names one call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

class FuzzInput {
public:
    FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    template <class T>
    T take() {
        T value{};
        const size_t n = size_ - at_ < sizeof(T) ? size_ - at_ : sizeof(T);
        std::memcpy(&value, data_ + at_, n);
        at_ += n;
        return value;
    }
    // A value in [0, count).
    uint32_t pick(uint32_t count) { return take<uint8_t>() % count; }
    const uint8_t* rest() const { return data_ + at_; }
    size_t restSize() const { return size_ - at_; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};
