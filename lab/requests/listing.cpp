#include "lab/requests/listing.h"

TextPage text_page(const Turn& turn)
{
    uint64_t limit = turn.number("limit"), page = turn.number("page", 1);
    if (limit == 0)
        return {};
    if (page == 0)
        return {0, 0};
    return {(page - 1) * limit, page * limit};
}

std::vector<uint32_t> numbers_of(const Turn& turn, std::string_view key)
{
    std::vector<uint32_t> numbers;
    std::string text = turn.value(key).value_or("");
    const char* at = text.c_str();
    while (*at >= '0' && *at <= '9') {
        char* end = nullptr;
        numbers.push_back(static_cast<uint32_t>(strtoull(at, &end, 10)));
        at = *end == ',' ? end + 1 : end;
    }
    return numbers;
}
