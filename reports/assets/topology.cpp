// obstopogrp list: the flat list of topology groups as the nested tree that the web layer draws.
#include "wire/topology.h"
#include "base/document.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/assets/assets.h"

namespace {

constexpr size_t id_count = 256;

// Groups sorted by their parent.
struct Tree {
    const Rows<TopologyGroupRecord>& groups;
    size_t first_child[id_count + 1] = {}; // the children of p are [first_child[p], first_child[p + 1])
    bool on_path[id_count] = {};           // printed on the way from the root to where we are
};

void find_children(Tree& tree)
{
    size_t i = 0;
    for (size_t parent = 0; parent <= id_count; parent++) {
        tree.first_child[parent] = i;
        while (i < tree.groups.held() && tree.groups[i].parent == parent)
            i++;
    }
}

// Repeated records multiply: some hundred of them can make a tree without end. What walking it may take is
// bounded in nodes, and in records looked at, which are at most one an id and node when none is repeated.
struct Bounds {
    size_t nodes = 1'000'000;
    size_t looks = nodes * id_count;
};

// A group below itself is passed over: the list may hold cycles. At most one level for each id. False when
// the tree is beyond the bounds.
bool count_children(Tree& tree, uint8_t parent, Bounds& left)
{
    for (size_t i = tree.first_child[parent]; i < tree.first_child[parent + 1]; i++) {
        const uint8_t id = tree.groups[i].id;
        if (left.looks-- == 0)
            return false;
        if (tree.on_path[id])
            continue;
        if (left.nodes-- == 0)
            return false;
        tree.on_path[id] = true;
        const bool within = count_children(tree, id, left);
        tree.on_path[id] = false;
        if (!within)
            return false;
    }
    return true;
}

// The groups that count_children() counts.
void print_children(Tree& tree, uint8_t parent)
{
    Separator lead{""};
    for (size_t i = tree.first_child[parent]; i < tree.first_child[parent + 1]; i++) {
        const TopologyGroupRecord& group = tree.groups[i];
        if (tree.on_path[group.id] || output_lost())
            continue;
        print_opening(FORMAT(R"({}{{"title":"{}", "id":{}, "spread":true, "children":[)"), lead, group.title,
                      group.id);
        lead = {","};
        tree.on_path[group.id] = true;
        print_children(tree, group.id);
        tree.on_path[group.id] = false;
        print_closing(FORMAT("]}}"));
    }
}

uint64_t by_parent(const TopologyGroupRecord& group)
{
    return ascending_key(group.parent);
}

} // namespace

int cli_obstopogrp_list(int argc, char** argv)
{
    Fetch fetch{.module = "obstopogrp",
                .argc = argc,
                .argv = argv,
                .write = write_leading,
                .nul = ArgumentText::leave_nul};
    Rows<TopologyGroupRecord> groups({by_parent});
    if (fetch_each<TopologyGroupRecord>(fetch, [&](const TopologyGroupRecord& group) {
            return groups.keep_or_say(group, nullptr, "fail to alloc (cli_obstopogrp_list)");
        }) != 0)
        return -1;
    groups.rank();

    Tree tree{.groups = groups};
    find_children(tree);
    Bounds bounds;
    if (!count_children(tree, 0, bounds))
        return refuse_reply();
    print_opening(FORMAT("["));
    print_children(tree, 0);
    print_closing(FORMAT("]"));
    return 0;
}
