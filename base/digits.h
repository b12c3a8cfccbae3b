#pragma once
// Small numbers into digits. Addresses and times stand in every row of a listing of millions, where a
// formatting call each would cost more than the rest of the row.
#include <cstdint>

// Writes 0..255 without leading zeros; returns the position behind it.
inline char* put_decimal(char* at, uint8_t value)
{
    if (value >= 100)
        *at++ = static_cast<char>('0' + value / 100);
    if (value >= 10)
        *at++ = static_cast<char>('0' + value / 10 % 10);
    *at++ = static_cast<char>('0' + value % 10);
    return at;
}

// Writes the last two digits of a number; returns the position behind them.
inline char* put_two_digits(char* at, int value)
{
    *at++ = static_cast<char>('0' + value / 10 % 10);
    *at++ = static_cast<char>('0' + value % 10);
    return at;
}
