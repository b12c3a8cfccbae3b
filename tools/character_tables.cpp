// Writes the tables of base/gb2312.cpp and base/form/json_text.cpp from the C library's converter:
// character-tables <file for GB2312> <file for GBK>. Each direction is asked for itself, as a converter may
// accept more than it gives.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iconv.h>
#include <string>
#include <vector>

namespace {

// One character through a converter; empty when it has none.
std::vector<unsigned char> convert(iconv_t converter, std::vector<unsigned char> from)
{
    unsigned char to[8];
    char *in = reinterpret_cast<char*>(from.data()), *out = reinterpret_cast<char*>(to);
    size_t in_left = from.size(), out_left = sizeof to;
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &in, &in_left, &out, &out_left) != 0)
        return {};
    return {to, to + (sizeof to - out_left)};
}

iconv_t converter(const char* to, const char* from)
{
    iconv_t opened = iconv_open(to, from);
    if (opened == reinterpret_cast<iconv_t>(-1)) {
        perror("iconv_open");
        exit(1);
    }
    return opened;
}

std::vector<unsigned> characters_in_code_order()
{
    iconv_t decoder = converter("UTF-16LE", "EUC-CN");
    std::vector<unsigned> characters;
    for (unsigned index = 0; index <= 8177; index++) {
        auto two = convert(decoder, {static_cast<unsigned char>(0xA1 + index / 94),
                                     static_cast<unsigned char>(0xA1 + index % 94)});
        characters.push_back(two.size() == 2 ? static_cast<unsigned>(two[0] | two[1] << 8) : 0);
    }
    return characters;
}

struct Pages {
    std::vector<std::string> blocks, pages;
    std::vector<unsigned> codes;
};

Pages codes_in_character_order()
{
    static constexpr struct {
        unsigned begin, end;
    } blocks[] = {
        {0x0000, 0x0460},
        {0x2000, 0x2650},
        {0x3000, 0x3230},
        {0x4E00, 0x9CF0},
        {0x9E00, 0x9FB0},
        {0xFF00, 0xFFF0},
    };
    iconv_t encoder = converter("EUC-CN", "UTF-16LE");
    Pages result;
    for (auto [begin, end] : blocks) {
        result.blocks.push_back("{" + std::to_string(begin) + "," + std::to_string(end) + "," +
                                std::to_string(result.pages.size()) + "}");
        for (unsigned page = begin; page < end; page += 16) {
            size_t first = result.codes.size();
            unsigned present = 0;
            for (unsigned c = page; c < page + 16; c++) {
                auto two =
                    convert(encoder, {static_cast<unsigned char>(c), static_cast<unsigned char>(c >> 8)});
                if (two.size() != 2)
                    continue;
                present |= 1U << (c - page);
                result.codes.push_back((two[0] << 8 | two[1]) & 0x7F7F);
            }
            result.pages.push_back("{" + std::to_string(first) + "," + std::to_string(present) + "}");
        }
    }
    return result;
}

constexpr unsigned gbk_first_lead = 0x81, gbk_last_lead = 0xFE, gbk_first_trail = 0x40, gbk_last_trail = 0xFE;

std::vector<unsigned> gbk_characters()
{
    iconv_t decoder = converter("UTF-16LE", "GBK");
    std::vector<unsigned> characters;
    for (unsigned lead = gbk_first_lead; lead <= gbk_last_lead; lead++)
        for (unsigned trail = gbk_first_trail; trail <= gbk_last_trail; trail++) {
            auto two =
                convert(decoder, {static_cast<unsigned char>(lead), static_cast<unsigned char>(trail)});
            characters.push_back(two.size() == 2 ? static_cast<unsigned>(two[0] | two[1] << 8) : 0);
        }
    return characters;
}

std::string text_of(unsigned number)
{
    return std::to_string(number);
}

const std::string& text_of(const std::string& text)
{
    return text;
}

template <class T> void write_table(FILE* out, const char* declaration, const std::vector<T>& entries)
{
    fprintf(out, "static constexpr %s[] = {", declaration);
    for (size_t i = 0; i < entries.size(); i++)
        fprintf(out, "%s%s,", i % 12 == 0 ? "\n" : "", text_of(entries[i]).c_str());
    fprintf(out, "\n};\n");
}

void write_gb2312(FILE* out)
{
    Pages pages = codes_in_character_order();
    write_table(out, "uint16_t unicode_characters", characters_in_code_order());
    write_table(out, "CodeBlock code_blocks", pages.blocks);
    write_table(out, "CodePage code_pages", pages.pages);
    write_table(out, "uint16_t gb2312_codes", pages.codes);
}

void write_gbk(FILE* out)
{
    fprintf(out, "static constexpr uint8_t gbk_first_lead = %u, gbk_last_lead = %u;\n", gbk_first_lead,
            gbk_last_lead);
    fprintf(out, "static constexpr uint8_t gbk_first_trail = %u, gbk_last_trail = %u;\n", gbk_first_trail,
            gbk_last_trail);
    write_table(out, "uint16_t gbk_characters", gbk_characters());
}

int write_file(const char* path, void (*write)(FILE*))
{
    FILE* out = fopen(path, "w");
    if (out != nullptr) {
        write(out);
        if (fclose(out) == 0)
            return 0;
    }
    fprintf(stderr, "character-tables: cannot write %s\n", path);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: character-tables GB2312-FILE GBK-FILE\n");
        return 1;
    }
    return write_file(argv[1], write_gb2312) | write_file(argv[2], write_gbk);
}
