#include "link/orphans.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr size_t size_max = 8 << 20; // bytes; no command has a larger segment

bool has_ended(pid_t process) // 0: a process of another PID namespace
{
    return process > 0 && syscall(SYS_kill, process, 0) == -1 && errno == ESRCH;
}

// As make_segment() leaves one behind: private, unmarked, attached by nobody, its creator gone.
bool may_be_ours(const shmid_ds& segment)
{
    const ipc_perm& owner = segment.shm_perm;
    const auto user = static_cast<uid_t>(syscall(SYS_geteuid));
    return owner.__key == IPC_PRIVATE && owner.mode == 0600 && owner.uid == user && owner.cuid == user &&
           segment.shm_segsz <= size_max && segment.shm_nattch == 0 && has_ended(segment.shm_cpid);
}

// Nothing was ever written there, and so nothing is lost with it, whoever made it.
bool is_blank(int id, size_t size)
{
    const long address = syscall(SYS_shmat, id, nullptr, SHM_RDONLY);
    if (address == -1)
        return false;
    const char* bytes = reinterpret_cast<const char*>(address);
    const bool blank = bytes[0] == 0 && memcmp(bytes, bytes + 1, size - 1) == 0;
    shmdt(bytes);
    return blank;
}

} // namespace

void remove_orphaned_segments()
{
    shm_info all;
    const long last = syscall(SYS_shmctl, 0, SHM_INFO, &all); // one call is all that most runs pay
    for (long i = 0; last >= 0 && all.used_ids > 0 && i <= last; i++) {
        shmid_ds segment;
        const auto id = static_cast<int>(syscall(SYS_shmctl, i, SHM_STAT, &segment));
        if (id >= 0 && may_be_ours(segment) && is_blank(id, segment.shm_segsz))
            syscall(SYS_shmctl, id, IPC_RMID, nullptr);
    }
}
