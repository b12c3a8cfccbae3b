#include "link/orphans.h"

#include "base/line_reader.h"
#include "link/places.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Bytes; what the commands have are whole KiB in between.
constexpr size_t size_min = 4 << 10, size_max = 8 << 20;
constexpr time_t handed_on = 2; // seconds: whoever was told of a segment has attached it by then

bool has_ended(pid_t process) // 0: a process of another PID namespace
{
    return process > 0 && syscall(SYS_kill, process, 0) == -1 && errno == ESRCH;
}

// As make_segment() leaves one behind: private, unmarked, attached by nobody but its creator, who is gone.
bool may_be_ours(const shmid_ds& segment)
{
    const ipc_perm& owner = segment.shm_perm;
    return owner.__key == IPC_PRIVATE && owner.mode == 0600 && owner.uid == owner.cuid &&
           segment.shm_segsz >= size_min && segment.shm_segsz <= size_max && segment.shm_segsz % 1024 == 0 &&
           segment.shm_nattch == 0 && (segment.shm_lpid == 0 || segment.shm_lpid == segment.shm_cpid) &&
           time(nullptr) - segment.shm_ctime > handed_on &&
           owner.uid == static_cast<uid_t>(syscall(SYS_geteuid)) && has_ended(segment.shm_cpid);
}

bool is_one_there()
{
    shm_info all{};
    const long last = syscall(SYS_shmctl, 0, SHM_INFO, &all); // one call is all that most runs pay
    for (long i = 0; last >= 0 && all.used_ids > 0 && i <= last; i++) {
        shmid_ds segment;
        if (syscall(SYS_shmctl, i, SHM_STAT, &segment) >= 0 && may_be_ours(segment))
            return true;
    }
    return false;
}

// Whether the segment of this line has no memory: nothing was ever written there, and so nothing is lost with
// it, whoever made it. Reading the segment itself would give it memory, or find none there to be had.
bool is_blank(const char* line, int& id)
{
    unsigned long resident, swapped; // bytes; the last columns, and the identifier is the second
    return sscanf(line, "%*s %d %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %lu %lu", &id, &resident,
                  &swapped) == 3 &&
           resident == 0 && swapped == 0;
}

} // namespace

void remove_orphaned_segments()
{
    if (!is_one_there())
        return;
    LineReader table;
    char line[512];
    table.open(place::segment_table); // without it there is no line
    while (table.next(line)) {
        int id;
        shmid_ds segment;
        if (is_blank(line, id) && syscall(SYS_shmctl, id, IPC_STAT, &segment) == 0 && may_be_ours(segment))
            syscall(SYS_shmctl, id, IPC_RMID, nullptr);
    }
}
