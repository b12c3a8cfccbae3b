#pragma once
// Formats that the compiler parses, and the values that may stand in them.
//
// A format is FORMAT("…{}…"); a brace that goes out as it is doubles. Its number of fields and the kind of
// every value are checked when it is compiled, and nothing is parsed at run time.
//
// A field takes a number, a text (std::string_view) or a printed form: a type that says how many bytes it may
// have and puts itself. A printed form prints as "{}" and in no other way. Pointers, truth values and
// floating-point numbers are no values: text_of() makes a text of a pointer, hundredths() of a measure.
#include "base/wire_types.h"

#include <concepts>

#define FMT_EXCEPTIONS 0
#define FMT_THROW(error) __builtin_trap() // reached only by formats that the compiler has not seen
#define FMT_ASSERT(condition, message) ((void)0)
#include <fmt/compile.h>

#define FORMAT(literal) FMT_COMPILE(literal)

// Puts itself at a position with room for most_bytes() and returns the position behind what it put; nothing
// is terminated.
template <class T>
concept PrintedForm = requires(const T& value, char* at)
{
    {
        value.put(at)
        } -> std::same_as<char*>;
    {
        value.most_bytes()
        } -> std::same_as<size_t>;
};

template <PrintedForm T> struct fmt::formatter<T, char> {
    // Whatever follows a colon is left standing, and the format is refused for it.
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <class Context> auto format(const T& value, Context& context) const
    {
        return value.put(context.out());
    }
};

// A text from outside, escaped where the form of the output asks for it.
struct Text {
    std::string_view view;
    char* put(char* at) const { return put_text(at, view); }
    size_t most_bytes() const { return text_growth * view.size(); }
};

// The same for what was taken out of a FixedGbkText.
struct Gbk {
    std::string_view view;
    char* put(char* at) const { return put_gbk(at, view); }
    size_t most_bytes() const { return text_growth * view.size(); }
};

// The one way from a NUL-terminated text of our own (an argument, strerror, a library's name) into a row;
// null is the empty text.
inline std::string_view text_of(const char* text)
{
    return text != nullptr ? text : "";
}

// A number of 0 to 99 with its leading zero.
struct TwoDigits {
    unsigned number;
    char* put(char* at) const
    {
        *at++ = static_cast<char>('0' + number / 10);
        *at++ = static_cast<char>('0' + number % 10);
        return at;
    }
    static constexpr size_t most_bytes() { return 2; }
};

inline TwoDigits two_digits(int number)
{
    return {static_cast<unsigned>(number)};
}

// A measure of 0 and above with two decimals, rounded as the C library rounds a double.
struct Hundredths {
    double measure;
    char* put(char* at) const;
    static constexpr size_t most_bytes() { return sizeof "18446744073709551615.00"; }
};

// ---- What formatting a row needs

template <class T>
concept PrintedNumber = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>;

inline Text printed(std::string_view text)
{
    return {text};
}
template <PrintedNumber T> T printed(T number)
{
    return number;
}
template <PrintedForm T> const T& printed(const T& value)
{
    return value;
}
void printed(const char*) = delete; // see text_of()

template <PrintedNumber T> constexpr size_t most_bytes(T)
{
    return sizeof "-9223372036854775808";
}
template <PrintedForm T> size_t most_bytes(const T& value)
{
    return value.most_bytes();
}

// What FORMAT() makes.
template <class T>
concept RowFormat = fmt::detail::is_compiled_string<T>::value;

// The number of fields in a format; not a constant when one has more than its braces.
consteval size_t fields_in(fmt::string_view format)
{
    size_t fields = 0;
    for (size_t i = 0; i < format.size(); i++) {
        if (format[i] != '{' && format[i] != '}')
            continue;
        const bool field = i + 1 < format.size() && format[i] == '{' && format[i + 1] == '}';
        const bool doubled = i + 1 < format.size() && format[i] == format[i + 1];
        if (!field && !doubled)
            __builtin_trap();
        fields += field;
        i++;
    }
    return fields;
}

// The pieces of a compiled format, put one by one: the library's own walk calls a function for each literal,
// which costs more than the rest of the row.
template <class... Values> char* put_piece(char* at, const fmt::detail::text<char>& literal, const Values&...)
{
    memcpy(at, literal.data.data(), literal.data.size());
    return at + literal.data.size();
}
template <class... Values>
char* put_piece(char* at, const fmt::detail::code_unit<char>& literal, const Values&...)
{
    *at = literal.value;
    return at + 1;
}
template <class T, int n, class... Values>
char* put_piece(char* at, const fmt::detail::field<char, T, n>& field, const Values&... values)
{
    return field.format(at, values...);
}
template <class First, class Rest, class... Values>
[[gnu::always_inline]] inline char* put_piece(char* at, const fmt::detail::concat<First, Rest>& pieces,
                                              const Values&... values)
{
    return put_piece(put_piece(at, pieces.lhs, values...), pieces.rhs, values...);
}

// Room that a row may take: the literal is at least as long as what it prints besides the values.
template <RowFormat Format, class... Values> size_t room_of(Format format, const Values&... values)
{
    return (fmt::string_view(format).size() + ... + most_bytes(printed(values)));
}

// Formats a row at `at`, which has room_of() it; returns the position behind it.
template <RowFormat Format, class... Values> char* put_row(char* at, Format format, const Values&... values)
{
    static_assert(fields_in(fmt::string_view(Format{})) == sizeof...(Values), "each field has one value");
    static constexpr auto pieces = fmt::detail::compile<decltype(printed(values))...>(format);
    return put_piece(at, pieces, printed(values)...);
}
