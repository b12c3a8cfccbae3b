#pragma once
// One request and its reply, seen whole: every request that reaches a daemon passes through
// answer_exchange().
#include "wire/request.h"

#include <functional>
#include <span>

// `segment` is the client's, as long as the request says and the system confirmed. An answerer replaces the
// record by its reply and writes the answer into the segment.
struct Exchange {
    uint8_t daemon;        // bit of daemon_kind
    RequestRecord& record; // the request, then the reply
    std::span<char> segment;
};
using Answerer = std::function<void(Exchange&)>;

// Attaches the segment that the record names and has the request answered; a request without a usable segment
// is refused here.
void answer_exchange(const Answerer& answerer, uint8_t daemon, RequestRecord& record);
