#pragma once
// What a recording consists of. Folder and file names are the same on every machine:
//
//   recording.txt          what the exchanges were recorded with (About)
//   files/oui.dat ...      the appliance's files, as far as it had them
//   000001/request.txt     the first exchange: time, daemon, segment, every field of the record that is not 0
//   ... 000001/before.bin      ... and the segment up to its last byte that is not 0 000001/reply.txt the
//   same of the reply 000001/after.bin 000002.part/ ...       an exchange that was never answered
#include "lab/recording/files.h"
#include "wire/request.h"

#include <optional>
#include <vector>

namespace recording {
constexpr char about[] = "recording.txt", files[] = "files", incomplete[] = ".part";
constexpr uint32_t text_max = 1 << 20; // bytes of a request's argument text
constexpr size_t zone_max = 255;
} // namespace recording

std::string exchange_folder(size_t number); // "000001"

// A place of the appliance whose file decides what vigil prints.
struct KeptPlace {
    const char* name; // in the recording
    const char* place;
    bool in_folder; // `place` is the folder of a file with that name
    std::string path() const;
};
std::span<const KeptPlace> kept_places();

// One half of an exchange: its request, or its reply.
struct Half {
    std::string time;     // for the reader: "2026-07-30T12:00:00.123456Z"
    uint8_t daemon = 0;   // bit of daemon_kind
    uint32_t segment = 0; // bytes of the client's segment
    FileSum kept;         // the file of the segment
    RequestRecord record{};
};
struct HalfKind {
    const char* name;
    const char* text_file;
    const char* segment_file;
};
constexpr HalfKind request_half{"request", "request.txt", "before.bin"};
constexpr HalfKind reply_half{"reply", "reply.txt", "after.bin"};

std::string half_text(const HalfKind& kind, const Half& half);
// What is wrong with the text, or nothing.
std::string read_half(const HalfKind& kind, const std::string& text, Half& half);

// The client's request becomes the recorded reply to the recorded request. What is the client's own
// (addresses, segment, time) stays, unless the daemon changed it.
void reply_as_recorded(RequestRecord& client, const RequestRecord& request, const RequestRecord& reply);

// Whether `segment` can be kept at all, and a request with so long a text.
bool can_be_recorded(uint64_t segment, int32_t data_length);

// The argument text without the NULs at its end, `root` replaced by a word that is the same on every machine.
std::string recorded_text(std::string_view segment, int32_t data_length, const std::string& root);

struct About {
    std::optional<std::string> zone; // TZ
    std::string root;
    bool same_names = true; // the dictionary library names the applications as this lab's does
    struct File {
        const KeptPlace* place;
        FileSum sum;
    };
    std::vector<File> files;
};
std::string about_text(const About& about);
std::string read_about(const std::string& text, About& about);
