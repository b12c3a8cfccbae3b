// Which state of a changing world a request sees.
#include "lab/daemon/states.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/shm.h>
#include <thread>

namespace {

constexpr size_t session_size = 228, port_at = 32, in_a_batch = 4;

// States whose ten sessions have the client ports 100 * n + 1, … in the n-th state.
struct Changing {
    uint32_t made = 0;
    bool news = false;
    std::vector<std::weak_ptr<Appliance>> all;
    States states{std::make_shared<Appliance>(),
                  [this](Appliance& newest, bool goes_on) {
                      auto next = std::make_shared<Appliance>(newest, goes_on, [this] { return traffic(); });
                      all.push_back(next);
                      news = false;
                      return next;
                  },
                  [this] { return news; }};

    Traffic traffic()
    {
        Traffic traffic;
        made++;
        for (uint32_t i = 1; i <= 10; i++) {
            Session& session = traffic.sessions.emplace_back();
            session.client = session.server = traffic.endpoint_of(ipv4_address(0x0a000001));
            session.client_port = static_cast<uint16_t>(100 * made + i);
        }
        return traffic;
    }
    // Another state of the world, once the one before has had its time.
    void move_on()
    {
        uint32_t before = made;
        news = true;
        for (int i = 0; i < 1000 && made == before; i++) {
            states.newest();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(made, before + 1);
    }
};

// A client with its segment.
struct Client {
    States& states;
    int32_t segment;
    RequestRecord record{};
    std::vector<char> bytes = std::vector<char>(in_a_batch * session_size);

    // The refusal, the text of the answer, or of a batch the first port and how many there are.
    std::string ask(uint32_t code, const char* module, const std::string& arguments, int32_t cursor = 0)
    {
        std::ranges::copy(arguments, bytes.begin());
        record = {};
        record.code = code;
        record.text.assign(module);
        record.data_length = static_cast<int32_t>(arguments.size());
        record.cursor = cursor;
        record.segment_id = segment;
        Exchange exchange{daemon_kind::management, record, bytes};
        states.answer(exchange);
        if (record.error != 0 || record.count == 0)
            return std::string{record.error != 0 ? record.text.view() : bytes.data()};
        return std::to_string(*reinterpret_cast<const uint16_t*>(&bytes[port_at])) + '/' + std::to_string(record.count);
    }
    std::string list(bool goes_on = false) { return ask(verb::list, "obsbussflow", "", goes_on ? int32_t{record.cursor} : 0); }
    std::string next() { return list(true); }
};

TEST(LabStates, AListingSeesOneStateFromItsFirstBatchToItsLast)
{
    Changing world;
    world.move_on();
    Client early{world.states, 1}, late{world.states, 2};
    EXPECT_EQ(early.list(), "101/4");
    world.move_on();
    EXPECT_EQ(late.list(), "201/4");
    EXPECT_EQ(early.next(), "105/4");
    world.move_on();
    EXPECT_EQ(late.next(), "205/4");
    EXPECT_EQ(early.next(), "109/2");
    EXPECT_NE(early.record.last_batch, 0);
    EXPECT_EQ(late.next(), "209/2");
    EXPECT_EQ(early.list(), "301/4"); // the next listing begins with what is newest
    world.move_on();
    EXPECT_EQ(early.list(), "401/4");
    EXPECT_EQ(std::ranges::count_if(world.all, [](const auto& state) { return !state.expired(); }), 1);
}

TEST(LabStates, WhatOperatorsChangeGoesOnButNotIntoAListing)
{
    Changing world;
    world.move_on();
    Client reader{world.states, 1}, other{world.states, 2};
    EXPECT_EQ(other.ask(verb::add, "obsdnsgrp", "name=first"), "id=1\n");
    world.move_on();
    EXPECT_EQ(reader.list(), "201/4");
    EXPECT_EQ(other.ask(verb::add, "obsdnsgrp", "name=second"), "id=2\n"); // makes a state of its own
    EXPECT_EQ(world.made, 3u);
    EXPECT_EQ(reader.next(), "205/4");
    world.move_on();
    EXPECT_EQ(other.ask(verb::stat, "obsdnsgrp", ""), "groups=2 names=0\n");
    EXPECT_EQ(other.ask(verb::stat, "nothing", ""), "NO_MODULE");
    EXPECT_EQ(world.states.newest().requests().at("obsbussflow").answered, 2u); // counted in every state
}

TEST(LabStates, OnlySoManyAreHeld)
{
    Changing world;
    Client clients[] = {{world.states, 1}, {world.states, 2}, {world.states, 3}, {world.states, 4}};
    for (size_t i = 0; i < 3; i++) {
        world.move_on();
        clients[i].list();
    }
    world.news = true;
    for (int i = 0; i < 20; i++) {
        EXPECT_EQ(clients[3].list(), "301/4"); // all are being read: the newest is shared
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(clients[3].ask(verb::add, "obsdnsgrp", "name=first"), "id=1\n"); // a change takes a state at once
    EXPECT_EQ(clients[0].next(), "STATE_GONE");                                // of who was silent longest
    EXPECT_EQ(clients[1].next(), "205/4");
    EXPECT_EQ(clients[2].next(), "305/4");
    EXPECT_EQ(clients[0].list(), "401/4");
}

TEST(LabStates, OneGoesWithTheClientThatReadIt)
{
    Changing world;
    world.move_on();
    Client client{world.states, shmget(IPC_PRIVATE, 4096, 0600)};
    client.list();
    world.move_on();
    world.states.forget_ended();
    EXPECT_FALSE(world.all[0].expired());
    shmctl(client.segment, IPC_RMID, nullptr);
    world.states.forget_ended();
    EXPECT_TRUE(world.all[0].expired());
}

} // namespace
