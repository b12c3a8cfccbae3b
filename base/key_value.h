#pragma once
// A key=value line as a printed form (base/format.h). The key is followed by '=' unless it ends with a blank,
// and the value by a line end unless the key begins with one: "ip" makes a line of its own, " ip " goes on
// with the current one.
#include "base/format.h"

template <class Value> struct KeyValue {
    std::string_view key;
    Value value;

    char* put(char* at) const
    {
        const std::string_view equals = key.ends_with(' ') ? "" : "=";
        const std::string_view line_end = key.starts_with(' ') ? "" : "\n";
        return put_row(at, FORMAT("{}{}{}{}"), key, equals, value, line_end);
    }
    size_t most_bytes() const { return text_growth * (key.size() + sizeof "=\n") + ::most_bytes(value); }
};

template <class Value> auto key_value(std::string_view key, const Value& value)
{
    return KeyValue<std::remove_cvref_t<decltype(printed(value))>>{key, printed(value)};
}
