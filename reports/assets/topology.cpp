// obstopogrp list: the flat list of topology groups as the nested tree that the web layer draws.
#include "wire/topology.h"
#include "base/output.h"
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

// A group below itself is passed over: the list may hold cycles. At most one level for each id.
void print_children(Tree& tree, uint8_t parent)
{
    const char* lead = "";
    for (size_t i = tree.first_child[parent]; i < tree.first_child[parent + 1]; i++) {
        const TopologyGroupRecord& group = tree.groups[i];
        if (tree.on_path[group.id] || output_lost())
            continue;
        print(R"(%s{"title":"%s", "id":%d, "spread":true, "children":[)", lead, text_of(group.title).text,
              group.id);
        lead = ",";
        tree.on_path[group.id] = true;
        print_children(tree, group.id);
        tree.on_path[group.id] = false;
        print("]}");
    }
}

uint64_t by_parent(const TopologyGroupRecord& group)
{
    return ascending_key(group.parent);
}

} // namespace

int obstopogrp_list(int argc, char** argv)
{
    Fetch fetch{.module = "obstopogrp",
                .argc = argc,
                .argv = argv,
                .write = write_leading,
                .nul = ArgumentText::leave_nul};
    Rows<TopologyGroupRecord> groups({by_parent});
    auto keep = [&](const TopologyGroupRecord& group) {
        bool kept = groups.keep(group);
        if (!kept)
            print("fail to alloc (%s)\n", "cli_obstopogrp_list"); // a name of old, kept so
        return kept;
    };
    if (fetch_each<TopologyGroupRecord>(fetch, keep) != 0)
        return -1;
    groups.rank();

    Tree tree{.groups = groups};
    find_children(tree);
    print("[");
    print_children(tree, 0);
    print("]");
    return 0;
}
