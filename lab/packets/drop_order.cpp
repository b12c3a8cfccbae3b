#include "lab/packets/drop_order.h"

// The place that names the next newer session: of one, or at the list's old end.
uint32_t& DropOrder::newer_of(uint32_t session, List& list)
{
    return session == none ? list.oldest : links_[session].newer;
}

uint32_t& DropOrder::older_of(uint32_t session, List& list)
{
    return session == none ? list.newest : links_[session].older;
}

void DropOrder::unlink(uint32_t session)
{
    Link& link = links_[session];
    if (link.kind == Kind::absent)
        return;
    List& list = lists_[static_cast<size_t>(link.kind)];
    newer_of(link.older, list) = link.newer;
    older_of(link.newer, list) = link.older;
    link = {};
}

bool DropOrder::touch(uint32_t session, bool ended)
{
    if (session >= links_.size())
        links_.resize(session + 1);
    bool first = links_[session].kind == Kind::absent;
    unlink(session);
    List& list = lists_[ended ? 1 : 0];
    links_[session] = {list.newest, none, ended ? Kind::ended : Kind::open};
    newer_of(list.newest, list) = session;
    list.newest = session;
    size_ += first ? 1 : 0;
    return first;
}

void DropOrder::remove(uint32_t session)
{
    unlink(session);
    size_--;
}
