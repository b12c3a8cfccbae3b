// mempcap dump: streams what the daemon has captured to standard output.
#include "base/document.h"
#include "link/answer.h"
#include "link/argument_text.h"
#include "link/rpc_session.h"
#include "reports/capture/capture.h"

int mempcap_dump(int, char**)
{
    constexpr char module[] = "mempcap";
    if (refuses_packets())
        return -1;
    RequestRecord record;
    if (!start_request(record, verb::dump, module))
        return -1;
    for (;;) {
        // The reply goes back as the next request; its byte count stands where the segment size went out.
        record.code = verb::dump;
        record.text.assign(module);
        record.wants_dictionary = 0;
        record.count = 0;
        ArgumentText::none(record);
        if (rpc_exchange(record) != 0)
            return print_error(record);
        const char* bytes = bytes_at(answer_of(record), 0, record.segment_size);
        if (bytes == nullptr)
            return refuse_reply();
        print_text({bytes, record.segment_size});
        if (!flush_output()) // nobody reads any more
            return -1;
        if (record.last_batch != 0)
            return 0;
    }
}
