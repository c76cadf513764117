// The ICC fixed-point numbers, built one hexadecimal digit at a time rather
// than by scaling. Short fractions therefore stand in the lowest bits instead
// of being left-aligned, negative numbers lose their fraction, and only the
// last digit is rounded, without carry. Profiles and values written with these
// conversions depend on exactly these bits.
#include "profile/store.h"

#include <cmath>

namespace {

// Truncation toward zero; NaN, infinities and values outside the i32 range
// give INT32_MIN, as everywhere in the library.
int32_t truncateToInt(double x) {
    return (x > -2147483649.0 && x < 2147483648.0) ? static_cast<int32_t>(x) : INT32_MIN;
}

// Appends up to `digits` hexadecimal digits of `fraction` to `result`; the
// last possible digit is rounded by adding 0.5 before truncation.
uint32_t appendDigits(uint32_t result, double fraction, int digits) {
    for (int round = 1; round <= digits && fraction > 0.0; ++round) {
        fraction *= 16.0;
        const int32_t digit = truncateToInt(round == digits ? fraction + 0.5 : fraction);
        result = (result << 4) | (static_cast<uint32_t>(digit) & 0xF);
        fraction -= digit;
    }
    return result;
}

}  // namespace

extern "C" QUV_API uint32_t Quv_DoubleTo2bFixed2bNumber(double value) {
    const int32_t whole = truncateToInt(value);
    const double fraction = value - whole;
    if (!(fraction > 0.0)) return static_cast<uint32_t>(whole) << 16;
    return appendDigits(static_cast<uint32_t>(whole), fraction, 4);
}

extern "C" QUV_API uint32_t Quv_DoubleToU8Fixed8Number(double value) {
    // The whole part is what survives in 16 bits, read as signed.
    const auto whole = static_cast<int16_t>(truncateToInt(value));
    const double fraction = value - whole;
    if (!(fraction > 0.0)) return (static_cast<uint32_t>(static_cast<uint16_t>(whole)) << 8) & 0xFFFF;
    return appendDigits(static_cast<uint16_t>(whole), fraction, 2) & 0xFFFF;
}

// The high half is the whole part, unsigned: the sign bit is not honoured.
extern "C" QUV_API double Quv_2bFixed2bNumberToDouble(uint32_t number) {
    double result = static_cast<double>(number >> 16);
    for (int position = 1; position <= 4; ++position) {
        const uint32_t digit = (number >> (16 - 4 * position)) & 0xF;
        result += digit / std::pow(16.0, position);
    }
    return result;
}

extern "C" QUV_API double Quv_U8Fixed8NumberToDouble(uint16_t number) {
    double result = static_cast<double>(number >> 8);
    for (int position = 1; position <= 2; ++position) {
        const uint32_t digit = (number >> (8 - 4 * position)) & 0xF;
        result += digit / std::pow(16.0, position);
    }
    return result;
}
