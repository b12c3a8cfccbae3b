#include "lab/requests/turn.h"

#include <cstdarg>
#include <cstdlib>

Turn::Turn(RequestRecord& record, std::span<char> segment, std::string_view dictionary)
    : record_(record), area_(segment), name_(record.text.view())
{
    size_t length = record.data_length < 0 ? 0 : static_cast<size_t>(record.data_length);
    std::string_view text{segment.data(), std::min(length, segment.size())};
    split(text.substr(0, text.find('\0')));
    record.error = 0;
    record.text.assign("");
    record.count = 0;
    record.length = 0;
    record.last_batch = 1;
    if (record.wants_dictionary == 0)
        return;
    if (dictionary.size() > area_.size()) {
        refuse(lab_error::no_room, "SEGMENT_TOO_SMALL");
        return;
    }
    dictionary.copy(area_.data(), dictionary.size());
    area_ = area_.subspan(dictionary.size());
}

void Turn::split(std::string_view text)
{
    while (!text.empty()) {
        size_t end = std::min(text.find(' '), text.size());
        std::string_view word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        size_t equals = word.find('=');
        if (equals != word.npos)
            values_.emplace_back(word.substr(0, equals), word.substr(equals + 1));
        else if (!word.empty())
            words_.emplace_back(word);
    }
}

std::optional<std::string> Turn::value(std::string_view key) const
{
    for (auto it = values_.rbegin(); it != values_.rend(); ++it)
        if (it->first == key)
            return it->second;
    return {};
}

uint32_t Turn::number(std::string_view key, uint32_t otherwise) const
{
    std::optional<std::string> text = value(key);
    if (!text || text->empty() || (*text)[0] < '0' || (*text)[0] > '9')
        return otherwise;
    return static_cast<uint32_t>(strtoull(text->c_str(), nullptr, 10));
}

std::string Turn::free_text(std::string_view key, size_t most) const
{
    static constexpr std::string_view codes = "TNCR8S", characters = "\t\n\f\r\x18 ";
    std::string text = value(key).value_or(""), out;
    for (size_t i = 0; i < text.size(); i++) {
        size_t code = text[i] == '%' && i + 1 < text.size() ? codes.find(text[i + 1]) : codes.npos;
        out += code != codes.npos ? characters[code] : text[i];
        i += code != codes.npos ? 1 : 0;
    }
    return out.substr(0, most);
}

std::string Turn::word(size_t i) const
{
    return i < words_.size() ? words_[i] : "";
}

void Turn::say(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0)
        return;
    said_.append(text, static_cast<size_t>(length));
    free(text);
}

void Turn::refuse(int32_t error, std::string_view text)
{
    record_.error = error;
    record_.text.assign(text, record_.text.width - 1);
    said_.clear();
}

size_t Turn::first_item(int32_t kind) const
{
    int32_t cursor = record_.cursor & ~kind;
    return cursor < 0 ? items_max : static_cast<size_t>(cursor);
}

void Turn::end_batch(size_t records, size_t next_item, bool last, int32_t kind)
{
    record_.count = static_cast<int32_t>(records);
    record_.last_batch = last ? 1 : 0;
    record_.cursor = static_cast<int32_t>(std::min(next_item, items_max)) | kind;
}

void Turn::end_stream(size_t bytes, size_t next_item, bool last)
{
    end_batch(0, next_item, last);
    record_.segment_size = static_cast<uint32_t>(bytes);
}

void Turn::end_lines(size_t next_item, bool last)
{
    end_batch(0, next_item, last);
}

void Turn::finish()
{
    if (said_.empty() || refused() || area_.empty())
        return;
    if (said_.size() >= area_.size()) {
        size_t line_end = said_.rfind('\n', area_.size() - 2);
        said_.resize(line_end == said_.npos ? area_.size() - 1 : line_end + 1);
    }
    said_.copy(area_.data(), said_.size());
    area_[said_.size()] = '\0';
    record_.length = static_cast<int32_t>(said_.size());
}
