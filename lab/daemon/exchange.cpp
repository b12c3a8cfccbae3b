#include "lab/daemon/exchange.h"

#include "lab/requests/turn.h"

#include <sys/shm.h>

namespace {

// The client's segment, attached for the length of one request. Linux attaches by id also what is already
// marked for removal.
class Segment {
public:
    explicit Segment(int id)
    {
        shmid_ds status{};
        if (shmctl(id, IPC_STAT, &status) != 0)
            return;
        void* base = shmat(id, nullptr, 0);
        if (base == reinterpret_cast<void*>(-1))
            return;
        bytes_ = {static_cast<char*>(base), status.shm_segsz};
    }
    ~Segment()
    {
        if (!bytes_.empty())
            shmdt(bytes_.data());
    }
    Segment(const Segment&) = delete;
    std::span<char> bytes() const { return bytes_; }

private:
    std::span<char> bytes_;
};

void refuse(RequestRecord& record, const char* text)
{
    record.error = lab_error::invalid;
    record.text.assign(text);
}

} // namespace

void answer_exchange(const Answerer& answerer, uint8_t daemon, RequestRecord& record)
{
    Segment segment(record.segment_id);
    if (segment.bytes().empty())
        return refuse(record, "INV_SHMID");
    if (record.segment_size == 0 || record.segment_size > segment.bytes().size())
        return refuse(record, "INV_SHMSIZE");
    if (record.data_length < 0 || static_cast<uint32_t>(record.data_length) > record.segment_size)
        return refuse(record, "INV_LENGTH");
    Exchange exchange{daemon, record, segment.bytes().first(record.segment_size)};
    answerer(exchange);
}
