#include "lab/recording/format.h"

#include "lab/dictionary/applications.h"
#include "lab/dictionary/user_tables.h"
#include "lab/recording/sealed_text.h"
#include "lab/requests/turn.h"
#include "link/places.h"

#include <cstring>

namespace {

// The request record, field by field.
struct Field {
    const char* name;
    size_t offset, width;
    enum Form : uint8_t { number, signed_number, bytes } form;
    bool clients_own; // differs from run to run
};
#define FIELD(name, ...)                                                                                     \
    {                                                                                                        \
#name, offsetof(RequestRecord, name), sizeof(RequestRecord::name), __VA_ARGS__                       \
    }
constexpr Field fields[] = {
    FIELD(code, Field::number, false),
    FIELD(data_length, Field::signed_number, true),
    FIELD(data_address, Field::number, true),
    FIELD(segment_id, Field::signed_number, true),
    FIELD(wants_dictionary, Field::number, false),
    FIELD(last_batch, Field::number, false),
    FIELD(carrier_kind, Field::number, false),
    FIELD(reserved_24, Field::bytes, false),
    FIELD(error, Field::signed_number, false),
    FIELD(text, Field::bytes, false),
    FIELD(reserved_152, Field::bytes, false),
    FIELD(cursor, Field::signed_number, false),
    FIELD(reserved_160, Field::bytes, false),
    FIELD(count, Field::signed_number, false),
    FIELD(length, Field::signed_number, false),
    FIELD(segment_size, Field::number, true),
    FIELD(answer_address, Field::number, true),
    FIELD(reserved_184, Field::bytes, false),
    FIELD(time, Field::number, true),
    FIELD(reserved_204, Field::bytes, false),
};
#undef FIELD

constexpr bool fields_cover_the_record()
{
    size_t end = 0;
    for (const Field& field : fields) {
        if (field.offset != end || (field.form == Field::signed_number && field.width != 4))
            return false;
        end += field.width;
    }
    return end == sizeof(RequestRecord);
}
static_assert(fields_cover_the_record());

constexpr struct {
    uint8_t daemon;
    std::string_view name;
} daemons[] = {
    {daemon_kind::analysis,   "analysis"  },
    {daemon_kind::management, "management"},
    {daemon_kind::chart,      "chart"     },
};

void write_field(SealedTextWriter& out, const Field& field, const char* at)
{
    std::string_view bytes{at, field.width};
    size_t used = bytes.find_last_not_of('\0') + 1;
    uint64_t number = 0;
    if (used == 0)
        return;
    if (field.form == Field::bytes)
        return out.line(field.name, in_quotes(bytes.substr(0, used)));
    memcpy(&number, at, field.width);
    out.line(field.name, field.form == Field::number ? std::to_string(number)
                                                     : std::to_string(static_cast<int32_t>(number)));
}

void read_field(SealedTextReader& in, const Field& field, char* at)
{
    if (!in.next_is(field.name))
        return;
    if (field.form == Field::bytes) {
        in.bytes(field.name, field.width).copy(at, field.width);
        return;
    }
    uint64_t number = field.form == Field::number
                          ? in.number(field.name, UINT64_MAX >> (64 - 8 * field.width))
                          : static_cast<uint64_t>(in.signed_number(field.name, INT32_MIN, INT32_MAX));
    memcpy(at, &number, field.width);
}

void write_sum(SealedTextWriter& out, const FileSum& sum)
{
    out.line("size", std::to_string(sum.size));
    out.line("sha256", sum.sha256);
}

FileSum read_sum(SealedTextReader& in, uint64_t most)
{
    FileSum sum;
    sum.size = in.number("size", most);
    sum.sha256 = in.word("sha256");
    return sum;
}

uint8_t read_daemon(SealedTextReader& in)
{
    std::string_view name = in.word("daemon");
    for (const auto& daemon : daemons)
        if (name == daemon.name)
            return daemon.daemon;
    in.refuse("names no daemon");
    return 0;
}

const KeptPlace* read_place(SealedTextReader& in)
{
    std::string_view name = in.word("file");
    for (const KeptPlace& kept : kept_places())
        if (name == kept.name)
            return &kept;
    in.refuse("names no file of the appliance");
    return nullptr;
}

const std::string& sum_of_names()
{
    static const std::string sum = [] {
        Sha256 sha256;
        for (const LabApplication& app : lab_applications)
            sha256.add(std::to_string(app.id) + ' ' + app.name + ' ' + app.second_name + '\n');
        return sha256.hexadecimal();
    }();
    return sum;
}

} // namespace

std::string exchange_folder(size_t number)
{
    std::string digits = std::to_string(number);
    return std::string(digits.size() < 6 ? 6 - digits.size() : 0, '0') + digits;
}

std::span<const KeptPlace> kept_places()
{
    static constexpr KeptPlace places[] = {
        {"kestrel.conf",    place::configuration_directory, true },
        {"obscfg.conf",     place::configuration_directory, true },
        {"obs_assets.conf", place::assets_configuration,    false},
        {"KS.conf",         place::english_only,            false},
        {"oui.dat",         place::vendor_database,         false},
    };
    return places;
}

std::string KeptPlace::path() const
{
    std::string text = placed(place).text;
    return in_folder ? text + '/' + name : text;
}

std::string half_text(const HalfKind& kind, const Half& half)
{
    SealedTextWriter out(kind.name);
    out.line("time", half.time);
    for (const auto& daemon : daemons)
        if (daemon.daemon == half.daemon)
            out.line("daemon", daemon.name);
    out.line("segment", std::to_string(half.segment));
    write_sum(out, half.kept);
    for (const Field& field : fields)
        write_field(out, field, reinterpret_cast<const char*>(&half.record) + field.offset);
    return out.sealed();
}

std::string read_half(const HalfKind& kind, const std::string& text, Half& half)
{
    SealedTextReader in(text, kind.name);
    half = {};
    half.time = in.word("time");
    half.daemon = read_daemon(in);
    half.segment = static_cast<uint32_t>(in.number("segment", recorded_file_max));
    half.kept = read_sum(in, half.segment);
    for (const Field& field : fields)
        read_field(in, field, reinterpret_cast<char*>(&half.record) + field.offset);
    return in.fault();
}

void reply_as_recorded(RequestRecord& client, const RequestRecord& request, const RequestRecord& reply)
{
    for (const Field& field : fields) {
        auto at = [&](auto& record) { return reinterpret_cast<const char*>(&record) + field.offset; };
        if (!field.clients_own || memcmp(at(request), at(reply), field.width) != 0)
            memcpy(reinterpret_cast<char*>(&client) + field.offset, at(reply), field.width);
    }
}

bool can_be_recorded(uint64_t segment, int32_t data_length)
{
    return segment <= recorded_file_max && data_length >= 0 &&
           static_cast<uint32_t>(data_length) <= recording::text_max &&
           static_cast<uint32_t>(data_length) <= segment;
}

std::string recorded_text(std::string_view segment, int32_t data_length, const std::string& root)
{
    std::string text(segment.substr(0, static_cast<size_t>(data_length)));
    text.resize(text.find_last_not_of('\0') + 1);
    const std::string below = root + '/', word = "{root}/";
    for (size_t at = 0; (at = text.find(below, at)) != text.npos; at += word.size())
        text.replace(at, below.size(), word);
    return text;
}

std::string about_text(const About& about)
{
    SealedTextWriter out("recording");
    if (about.zone)
        out.line("TZ", in_quotes(*about.zone));
    out.line("root", in_quotes(about.root));
    out.line("dictionary", lab_dictionary_library);
    out.line("user_protocols", std::to_string(lab_user_protocols));
    out.line("user_groups", std::to_string(lab_user_groups));
    out.line("names", sum_of_names());
    for (const About::File& file : about.files) {
        out.line("file", file.place->name);
        write_sum(out, file.sum);
    }
    return out.sealed();
}

std::string read_about(const std::string& text, About& about)
{
    SealedTextReader in(text, "recording");
    about = {};
    if (in.next_is("TZ"))
        about.zone = in.bytes("TZ", recording::zone_max);
    about.root = in.bytes("root", place::root_max);
    if (in.word("dictionary") != lab_dictionary_library)
        in.refuse("names a dictionary library that this lab does not have");
    if (in.number("user_protocols", INT32_MAX) != lab_user_protocols)
        in.refuse("does not agree with this lab's dictionary library");
    if (in.number("user_groups", INT32_MAX) != lab_user_groups)
        in.refuse("does not agree with this lab's dictionary library");
    about.same_names = in.word("names") == sum_of_names();
    while (in.next_is("file")) {
        const KeptPlace* kept = read_place(in);
        FileSum sum = read_sum(in, recorded_file_max);
        for (const About::File& file : about.files)
            if (file.place == kept)
                in.refuse("sums up a file for the second time");
        about.files.push_back({kept, sum});
    }
    return in.fault();
}
