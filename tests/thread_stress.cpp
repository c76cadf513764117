// Threads using the library together, as applications do: each makes, uses
// and frees handles of its own, all convert through one shared formula handle
// and one shared ICC handle, and all read the embedded profiles and decode
// their tags. Run under ThreadSanitizer it proves the registry, the shared
// tables and the transforms race-free; anywhere it proves every thread gets
// the bytes one thread alone gets.
#include <quvclr/quvclr.h>

#include <cstdio>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 40;
constexpr int32_t kWidth = 64, kHeight = 16;

std::vector<uint8_t> chart() {
    std::vector<uint8_t> rgb(3 * kWidth * kHeight);
    for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<uint8_t>(i * 37 + i / 3);
    return rgb;
}

std::vector<uint8_t> convert(ClrHandle* h, const std::vector<uint8_t>& rgb, size_t bytesPerPixel) {
    std::vector<uint8_t> out(bytesPerPixel * kWidth * kHeight);
    if (Quv_ClrConvert(h, rgb.data(), out.data(), kWidth, kHeight, 0, 0) != CLR_SUCCESS) out.clear();
    return out;
}

ClrHandle* makeHandle(ClrSpace to, ClrMethod method) {
    ClrParams params{};
    params.size = CLR_PARAMS_SIZE;
    params.activeMethod = method;
    params.methodMask = method;
    ClrHandle* h = nullptr;
    return Quv_ClrInit(&h, ClrSpaceRgb, to, &params) == CLR_SUCCESS ? h : nullptr;
}

// Tags decoded from one embedded profile; the count of those that decoded.
int decodeEmbedded(uint32_t id) {
    int32_t length = 0;
    if (Quv_ClrGetEmbeddedProfile(id, nullptr, &length) != CLR_SUCCESS) return -1;
    std::vector<uint8_t> bytes(static_cast<size_t>(length));
    if (Quv_ClrGetEmbeddedProfile(id, bytes.data(), &length) != CLR_SUCCESS) return -1;
    IccProfile profile;
    Quv_InitICCProfile(&profile, ICC_PROFILE_STRUCT_SIZE);
    int decoded = 0;
    if (Quv_FillICCProfileStructure(&profile, bytes.data(), bytes.size()) == CLR_SUCCESS) {
        for (int32_t i = 0; i < profile.tagCount; ++i) {
            const uint32_t tag = profile.tagTable[i].signature;
            IccTagRecord record{};
            if (Quv_GetICCTagData(&profile, &record, tag) == CLR_SUCCESS) ++decoded;
            Quv_FreeICCTagType(&record, Quv_GetICCTagTypeSig(&profile, tag));
        }
    }
    Quv_FreeICCProfile(&profile);
    return decoded;
}

}  // namespace

int main() {
    const std::vector<uint8_t> rgb = chart();
    ClrHandle* sharedLab = makeHandle(ClrSpaceLab, CLR_METHOD_BUILTIN);
    ClrHandle* sharedCmyk = makeHandle(ClrSpaceCmyk, CLR_METHOD_ICC);
    ClrHandle* alone = makeHandle(ClrSpaceYuv, CLR_METHOD_BUILTIN);
    if (!sharedLab || !sharedCmyk || !alone) {
        std::puts("thread stress: a handle could not be made");
        return 1;
    }
    const std::vector<uint8_t> lab = convert(sharedLab, rgb, 3), cmyk = convert(sharedCmyk, rgb, 4),
                               yuv = convert(alone, rgb, 3);
    Quv_ClrFree(alone);
    const int tags = decodeEmbedded(CLR_EMBEDDED_PROFILE_CMYK);

    std::vector<int> mismatches(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                ClrHandle* own = makeHandle(ClrSpaceYuv, CLR_METHOD_BUILTIN);
                mismatches[t] += !own || convert(own, rgb, 3) != yuv;
                mismatches[t] += Quv_ClrIsValid(own) != CLR_SUCCESS;
                Quv_ClrFree(own);
                mismatches[t] += convert(sharedLab, rgb, 3) != lab;
                mismatches[t] += convert(sharedCmyk, rgb, 4) != cmyk;
                if (round % 8 == t % 8) mismatches[t] += decodeEmbedded(CLR_EMBEDDED_PROFILE_CMYK) != tags;
            }
        });
    }
    for (auto& th : threads) th.join();
    Quv_ClrFree(sharedLab);
    Quv_ClrFree(sharedCmyk);

    int total = 0;
    for (int m : mismatches) total += m;
    std::printf("thread stress: %d threads x %d rounds, %d mismatches\n", kThreads, kRounds, total);
    return total == 0 && !lab.empty() && !cmyk.empty() && tags > 0 ? 0 : 1;
}
