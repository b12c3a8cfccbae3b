#pragma once
// Walks reset records, which are of two sizes.
#include "common/fetch.h"
#include "wire/reset.h"

// Calls each(record, addresses) for every record of every batch; `addresses` is null unless it is an IPv6
// record. 0, or -1 with everything said.
template <class Function> int fetch_resets(const Fetch& fetch, Function&& each)
{
    return fetch_batches(fetch, [&](const Answer& answer) {
        size_t offset = 0;
        int32_t left = answer.count;
        const bool fits = records_fit(answer, sizeof(ResetRecord)); // were they all of the smaller size
        for (; fits && left > 0; left--) {
            const char* bytes = next_record(answer, offset, sizeof(ResetRecord));
            if (bytes == nullptr)
                break;
            const auto& record = *reinterpret_cast<const ResetRecord*>(bytes);
            const char* block = nullptr;
            if (record.has_ipv6()) {
                block = next_record(answer, offset, sizeof(ResetAddresses));
                if (block == nullptr)
                    break;
            }
            each(record, reinterpret_cast<const ResetAddresses*>(block));
        }
        if (fits && left == 0)
            return Walk::on;
        refuse_reply(); // a negative count, or records beyond the segment
        return Walk::failed;
    });
}

// Every argument goes to the daemon, consumed or not.
inline Fetch reset_request(int argc, char** argv)
{
    return {.module = "tcpreset",
            .argc = argc,
            .argv = argv,
            .write = write_leading,
            .nul = ArgumentText::leave_nul};
}
