#pragma once
// A member of a JSON object as a printed form (base/format.h): the key in quotes, a colon and the value, a
// number as it is and everything else in quotes. Every member after the first is marked by a comma in front
// of its key: member(",ip", Ipv4{…}) prints ,"ip":"…".
#include "base/format.h"

template <class Value> struct JsonMember {
    std::string_view key;
    Value value;

    char* put(char* at) const
    {
        const bool follows = key.starts_with(',');
        if (follows)
            *at++ = ',';
        at = put_row(at, FORMAT(R"("{}":)"), key.substr(follows));
        if constexpr (PrintedNumber<Value>)
            return put_row(at, FORMAT("{}"), value);
        else
            return put_row(at, FORMAT(R"("{}")"), value);
    }
    size_t most_bytes() const { return text_growth * key.size() + sizeof R"(,"":"")" + ::most_bytes(value); }
};

template <class Value>
requires(!std::convertible_to<Value, const char*>) auto member(std::string_view key, const Value& value)
{
    return JsonMember<std::remove_cvref_t<decltype(printed(value))>>{key, printed(value)};
}

// A NUL-terminated text; null is the empty one.
inline auto member(std::string_view key, const char* value)
{
    return member(key, text_of(value));
}
