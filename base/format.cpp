#include "base/format.h"

namespace {

// The hundredths of a fraction below 1, half way to the even one. Reckoned in whole numbers: the fraction is
// `mantissa` over a power of two, and no product of them is rounded.
unsigned hundredths_of(double fraction)
{
    constexpr int mantissa_bits = 52, bias = 1023;
    const auto bits = std::bit_cast<uint64_t>(fraction);
    const int shift = mantissa_bits + bias - static_cast<int>(bits >> mantissa_bits);
    if (shift >= 63) // too small to round up to 0.01
        return 0;
    const uint64_t mantissa = (bits & ((uint64_t{1} << mantissa_bits) - 1)) | uint64_t{1} << mantissa_bits;
    const uint64_t whole = 100 * mantissa >> shift;
    const uint64_t rest = 100 * mantissa - (whole << shift), half = uint64_t{1} << (shift - 1);
    return static_cast<unsigned>(whole + (rest > half || (rest == half && (whole & 1) != 0)));
}

} // namespace

char* put_number(char* at, uint32_t number)
{
    return put_row(at, FORMAT("{}"), number);
}

char* Hundredths::put(char* at) const
{
    auto whole = static_cast<uint64_t>(measure);
    unsigned hundredths = hundredths_of(measure - static_cast<double>(whole));
    if (hundredths == 100) {
        whole++;
        hundredths = 0;
    }
    return put_row(at, FORMAT("{}.{}"), whole, TwoDigits{hundredths});
}
