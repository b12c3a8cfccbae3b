#include "lab/recording/replay.h"

#include "lab/recording/sealed_text.h"
#include "lab/requests/turn.h"
#include "link/places.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

// By what requests are matched, but for the cursor. `text` as recorded_text() gives it.
std::string key_of(uint8_t daemon, const RequestRecord& record, std::string_view text)
{
    bool dictionary = record.wants_dictionary != 0; // decides where the answer begins
    return std::to_string(daemon) + (dictionary ? " with dictionary " : " ") + std::to_string(record.code) +
           ' ' + in_quotes(record.text.view()) + ' ' + sha256_of(text);
}

// The numbers of the folders with answered exchanges.
std::vector<size_t> exchange_numbers(const std::string& folder, std::error_code& error)
{
    std::vector<size_t> numbers;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::string name = at->path().filename().string();
        if (name.size() <= 9 && name.find_first_not_of("0123456789") == name.npos)
            numbers.push_back(std::stoul(name));
    }
    std::ranges::sort(numbers);
    return numbers;
}

} // namespace

bool Replay::fail(const std::string& name, const std::string& fault) const
{
    std::string path = folder_ + '/' + name;
    fprintf(stderr, "vigil-lab: %s: %s\n", path.c_str(), fault.c_str());
    return false;
}

bool Replay::read_text(const std::string& name, std::string& text) const
{
    std::string fault = read_text_file(folder_ + '/' + name, text);
    return fault.empty() || fail(name, fault);
}

bool Replay::open()
{
    std::string text;
    if (!read_text(recording::about, text))
        return false;
    if (std::string fault = read_about(text, about_); !fault.empty())
        return fail(recording::about, fault);
    if (!about_.same_names)
        fail(recording::about, "recorded by a lab that names some applications differently");
    for (const About::File& file : about_.files) {
        std::string name = std::string(recording::files) + '/' + file.place->name;
        std::string fault = read_summed_file(folder_ + '/' + name, file.sum, [](std::string_view) {});
        if (!fault.empty())
            return fail(name, fault);
    }
    std::error_code error;
    std::vector<size_t> numbers = exchange_numbers(folder_, error);
    if (error)
        return fail("", error.message());
    for (size_t i = 0; i < numbers.size(); i++)
        if (numbers[i] != i + 1)
            return fail(exchange_folder(i + 1), "is missing");
        else if (!read_exchange(i + 1))
            return false;
    std::string incomplete = exchange_folder(numbers.size() + 1) + recording::incomplete;
    if (fs::exists(folder_ + '/' + incomplete, error))
        fail(incomplete, "is not complete and is left out");
    return true;
}

bool Replay::read_exchange(size_t number)
{
    std::string folder = exchange_folder(number) + '/', fault;
    Half halves[2];
    static constexpr HalfKind kinds[] = {request_half, reply_half};
    for (size_t i = 0; i < 2; i++) {
        std::string text;
        if (!read_text(folder + kinds[i].text_file, text))
            return false;
        if (fault = read_half(kinds[i], text, halves[i]); !fault.empty())
            return fail(folder + kinds[i].text_file, fault);
    }
    const Half &request = halves[0], &reply = halves[1];
    int32_t length = request.record.data_length;
    if (!can_be_recorded(request.segment, length))
        return fail(folder + request_half.text_file, "has a text that does not fit its segment");
    if (reply.segment != request.segment || reply.daemon != request.daemon)
        return fail(folder + reply_half.text_file, "belongs to another request");
    std::string text;
    auto take = [&](std::string_view piece) {
        text += piece.substr(0, static_cast<size_t>(length) - text.size());
    };
    fault = read_summed_file(folder_ + '/' + folder + request_half.segment_file, request.kept, take);
    if (!fault.empty())
        return fail(folder + request_half.segment_file, fault);
    fault = read_summed_file(folder_ + '/' + folder + reply_half.segment_file, reply.kept, [](auto) {});
    if (!fault.empty())
        return fail(folder + reply_half.segment_file, fault);
    asked_[key_of(request.daemon, request.record, recorded_text(text, length, about_.root))]
        .exchanges.push_back(exchanges_.size());
    exchanges_.push_back({request.record, reply.record, reply.kept});
    return true;
}

bool Replay::install() const
{
    for (const KeptPlace& kept : kept_places()) {
        std::error_code error;
        std::string fresh = kept.path() + ".new";
        fs::remove(fresh, error);
        auto file = std::ranges::find(about_.files, &kept, &About::File::place);
        if (file == about_.files.end()) {
            fs::remove(kept.path(), error);
            continue;
        }
        std::string name = std::string(recording::files) + '/' + kept.name;
        std::ofstream out(fresh, std::ios::binary);
        std::string fault =
            read_summed_file(folder_ + '/' + name, file->sum, [&](std::string_view piece) { out << piece; });
        if (!fault.empty())
            return fail(name, fault);
        out.close();
        if (out.good())
            fs::rename(fresh, kept.path(), error);
        if (error || !out.good())
            return fail(name, "cannot be put to " + kept.path());
    }
    return true;
}

std::string Replay::contents() const
{
    return "exchanges=" + std::to_string(exchanges_.size()) +
           (about_.zone ? " TZ=" + in_quotes(*about_.zone) : "");
}

// The first one behind the one that was answered last: an interrupted run leaves later batches unasked.
const Replay::Exchange* Replay::find(const std::string& key, int32_t cursor, size_t& number)
{
    auto found = asked_.find(key);
    if (found == asked_.end())
        return nullptr;
    Asked& asked = found->second;
    for (size_t i = 0; i < asked.exchanges.size(); i++) {
        size_t at = (asked.next + i) % asked.exchanges.size();
        const Exchange& exchange = exchanges_[asked.exchanges[at]];
        if (exchange.request.cursor != cursor)
            continue;
        asked.next = at + 1;
        number = asked.exchanges[at] + 1;
        return &exchange;
    }
    return nullptr;
}

void Replay::answer(uint8_t daemon, RequestRecord& record, std::span<char> segment)
{
    auto refuse = [&](int32_t error, const std::string& text) {
        record.error = error;
        record.count = record.length = 0;
        record.last_batch = 1;
        record.text.assign(text, record.text.width - 1);
    };
    size_t number = 0;
    std::string text = recorded_text({segment.data(), segment.size()}, record.data_length, placed("").text);
    const Exchange* exchange = find(key_of(daemon, record, text), record.cursor, number);
    if (exchange == nullptr) {
        fail("", "lacks request " + std::to_string(record.code) + ' ' + in_quotes(record.text.view()) +
                     " with text " + in_quotes(text.substr(0, 1000)) + " and cursor " +
                     std::to_string(record.cursor));
        return refuse(lab_error::unknown, "NOT_IN_RECORDING");
    }
    if (exchange->after.size > segment.size())
        return refuse(lab_error::no_room, "SEGMENT_TOO_SMALL");
    size_t at = 0;
    std::string name = exchange_folder(number) + '/' + reply_half.segment_file;
    std::string fault = read_summed_file(folder_ + '/' + name, exchange->after, [&](std::string_view piece) {
        piece.copy(segment.data() + at, segment.size() - at);
        at += piece.size();
    });
    if (!fault.empty()) { // it was whole when the recording was opened
        fail(name, fault);
        return refuse(lab_error::invalid, "DAMAGED " + name);
    }
    memset(segment.data() + at, 0, segment.size() - at);
    reply_as_recorded(record, exchange->request, exchange->reply);
}
