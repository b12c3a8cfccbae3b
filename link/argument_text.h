#pragma once
// The argument text of a request, built at the start of the segment. An argument that does not fit is
// remembered and refused at finish(), before anything is sent.
#include "wire/request.h"

#include <string_view>

class ArgumentText {
public:
    void append_trailing(std::string_view argument); // "%s "
    void append_leading(std::string_view argument);  // " %s"
    void append_argument(std::string_view argument); // without a blank
    void append(std::string_view piece);             // our own
    void append_all_trailing(int argc, char** argv);
    void append_all_leading(int argc, char** argv);

    // Puts length and address into the record. Counting the NUL makes it part of the length; it is written
    // either way. False with "ARG_TOO_LONG" printed when the text and its NUL do not fit the segment, or with
    // "INV_ARG" when an argument must not be passed on (see form::refuses_argument()).
    enum Nul { count_nul, leave_nul };
    bool finish(RequestRecord& record, Nul nul);

    // No argument text at all: length 0, whatever was typed.
    static void none(RequestRecord& record);

private:
    uint32_t length_ = 0;
    bool too_long_ = false, refused_ = false;
};
