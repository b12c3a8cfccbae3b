#pragma once
// Forwarding handlers: the daemon does the work and answers in text. They differ only in what a row says.
#include "common/handler.h"
#include "link/argument_text.h"

struct Forward {
    const char* module;
    uint32_t code;
    enum Style : uint8_t { none, trailing, leading } style; // none: no text is sent, whatever was typed
    ArgumentText::Nul nul;                                  // of the argument text
    const char* rewritten_key; // null: none; an argument with this key is re-emitted
    enum Show : uint8_t { nothing, text, text_if_any, line_if_any } show; // "if any": length above 0
    enum Result : uint8_t { zero, record_count } result;
    // With fewer arguments than `least`, or more than `most`, the usage is printed: -1.
    static constexpr int any_number = INT32_MAX;
    int least = 0;
    int most = any_number;
    const char* usage = nullptr;
};

int forward(const Forward& row, int argc, char** argv);

// The handler of a row, for the catalogue.
template <const Forward& row> int forward(int argc, char** argv)
{
    return forward(row, argc, argv);
}
