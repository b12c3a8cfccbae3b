#pragma once
// World values in the forms of the wire records.
#include "lab/world/address.h"
#include "wire/address.h"

#include <limits>

// A number in a narrower field: the largest that fits stands for everything above.
template <class Field, class Number> Field capped(Number number)
{
    constexpr auto most = std::numeric_limits<Field>::max();
    return number > most ? most : static_cast<Field>(number);
}

WireAddress host_order_address(const Address& address); // IPv4 as a host-order number
WireAddress network_order_address(const Address& address);

// A text field that always ends in a NUL.
template <size_t N> void put_text(FixedText<N>& field, std::string_view text)
{
    field.assign(text, N - 1);
}
