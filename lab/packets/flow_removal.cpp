// How a table of sessions forgets.
#include "lab/packets/flow_table.h"

bool FlowTable::has_ended(uint32_t session) const
{
    const Flow& flow = flows_[session];
    return (flow.up.finished && flow.down.finished) || traffic_.sessions[session].reset != ResetBy::nobody;
}

void FlowTable::remove(uint32_t session)
{
    auto found = latest_.find(key_of(traffic_.sessions[session]));
    if (found != latest_.end() && found->second == session)
        latest_.erase(found);
    for (const Direction* direction : {&flows_[session].up, &flows_[session].down}) {
        heads_held_ -= direction->head.bytes.size();
        gaps_held_ -= direction->sequence.gaps();
    }
    flows_[session] = {};
    traffic_.sessions[session] = {};
    empty_.push_back(session);
}

std::vector<bool> FlowTable::taken_places() const
{
    std::vector<bool> taken(flows_.size(), true);
    for (uint32_t place : empty_)
        taken[place] = false;
    return taken;
}

std::vector<bool> FlowTable::used_endpoints() const
{
    std::vector<bool> taken = taken_places(), used(traffic_.endpoints.size());
    for (size_t i = 0; i < taken.size(); i++)
        if (taken[i])
            used[traffic_.sessions[i].client] = used[traffic_.sessions[i].server] = true;
    for (const std::vector<ProtocolEvent>* log : traffic_.logs())
        for (const ProtocolEvent& event : *log)
            used[event.client] = used[event.server] = true;
    return used;
}

void FlowTable::forget_unused()
{
    std::vector<uint32_t> numbers = traffic_.keep_endpoints(used_endpoints());
    auto renumber = [&](uint32_t& endpoint) { endpoint = numbers[endpoint]; };
    std::vector<bool> taken = taken_places();
    for (size_t i = 0; i < taken.size(); i++)
        if (taken[i]) {
            renumber(traffic_.sessions[i].client);
            renumber(traffic_.sessions[i].server);
        }
    for (std::vector<ProtocolEvent>* log : traffic_.logs())
        for (ProtocolEvent& event : *log) {
            renumber(event.client);
            renumber(event.server);
        }
    decltype(latest_) renumbered;
    renumbered.reserve(latest_.size());
    for (auto [old_key, session] : latest_) { // the new numbers stand in the order of the old ones
        Key key = old_key;
        renumber(key.low);
        renumber(key.high);
        renumbered.emplace(key, session);
    }
    latest_ = std::move(renumbered);
    keep_used_texts();
}

// Texts that are used move to a new pool; the old one goes with the last state that shows it.
void FlowTable::keep_used_texts()
{
    TextPool used;
    std::vector<TextId> numbers(traffic_.texts.size(), 0);
    auto renumber = [&](TextId& text) {
        if (text != 0 && numbers[text] == 0)
            numbers[text] = used.intern(traffic_.texts.at(text));
        text = numbers[text];
    };
    for (Session& session : traffic_.sessions)
        for (TextId* text : {&session.host, &session.request, &session.banner, &session.agent})
            renumber(*text);
    for (Endpoint& endpoint : traffic_.endpoints)
        renumber(endpoint.name);
    for (Names* names : {&answered_names_, &older_answered_names_})
        for (auto& [address, name] : *names)
            renumber(name);
    traffic_.texts = std::move(used);
}
