// Which state of a changing world a request sees.
#include "lab/daemon/states.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/shm.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr uint32_t sessions_each = 10, in_a_batch = 4;
constexpr size_t session_size = 228, port_at = 32;

// States whose sessions have the client ports 100 * n + 1, … in the n-th state.
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
        for (uint32_t i = 1; i <= sessions_each; i++) {
            Session session;
            session.client = session.server = traffic.endpoint_of(ipv4_address(0x0a000001));
            session.client_port = static_cast<uint16_t>(100 * made + i);
            traffic.sessions.push_back(session);
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

    // The next batch of the listing: the ports in it, or the text of the refusal.
    std::string list(bool from_the_start)
    {
        record.code = verb::list;
        record.text.assign("obsbussflow");
        if (from_the_start)
            record.cursor = 0;
        ask("");
        std::string ports{record.text.view()};
        for (int32_t i = 0; i < record.count; i++) {
            uint16_t port = 0;
            memcpy(&port, &bytes[static_cast<size_t>(i) * session_size + port_at], sizeof port);
            ports += (i == 0 ? "" : " ") + std::to_string(port);
        }
        return ports;
    }
    void ask(const std::string& arguments)
    {
        std::ranges::copy(arguments, bytes.begin());
        record.segment_id = segment;
        record.segment_size = static_cast<uint32_t>(bytes.size());
        record.data_length = static_cast<int32_t>(arguments.size());
        record.error = 0;
        Exchange exchange{daemon_kind::management, record, bytes};
        states.answer(exchange);
    }
    // What a request that answers with text says.
    std::string say(uint32_t code, const char* module, const std::string& arguments)
    {
        record.code = code;
        record.text.assign(module);
        record.cursor = 0;
        ask(arguments);
        return record.error != 0 ? std::string{record.text.view()} : std::string{bytes.data()};
    }
};

TEST(LabStates, AListingSeesOneStateFromItsFirstBatchToItsLast)
{
    Changing world;
    world.move_on();
    Client early{world.states, 1}, late{world.states, 2};
    EXPECT_EQ(early.list(true), "101 102 103 104");
    world.move_on();
    EXPECT_EQ(late.list(true), "201 202 203 204");
    EXPECT_EQ(early.list(false), "105 106 107 108");
    world.move_on();
    EXPECT_EQ(late.list(false), "205 206 207 208");
    EXPECT_EQ(early.list(false), "109 110");
    EXPECT_NE(early.record.last_batch, 0);
    EXPECT_EQ(late.list(false), "209 210");
    EXPECT_EQ(early.list(true), "301 302 303 304"); // the next listing begins with what is newest
    world.move_on();
    EXPECT_EQ(early.list(true), "401 402 403 404");
    size_t held = 0;
    for (const auto& state : world.all)
        held += state.expired() ? 0 : 1;
    EXPECT_EQ(held, 1u);
}

TEST(LabStates, WhatOperatorsChangeGoesOnButNotIntoAListing)
{
    Changing world;
    world.move_on();
    Client reader{world.states, 1}, other{world.states, 2};
    EXPECT_EQ(other.say(verb::add, "obsdnsgrp", "name=first"), "id=1\n");
    world.move_on();
    EXPECT_EQ(other.say(verb::stat, "obsdnsgrp", ""), "groups=1 names=0\n");
    EXPECT_EQ(reader.list(true), "201 202 203 204");
    EXPECT_EQ(other.say(verb::add, "obsdnsgrp", "name=second"), "id=2\n"); // makes a state of its own
    EXPECT_EQ(world.made, 3u);
    EXPECT_EQ(reader.list(false), "205 206 207 208");
    world.move_on();
    EXPECT_EQ(other.say(verb::stat, "obsdnsgrp", ""), "groups=2 names=0\n");
    EXPECT_EQ(other.say(verb::stat, "nothing", ""), "NO_MODULE");
    EXPECT_EQ(world.states.newest().requests().at("obsbussflow").answered, 2u); // counted in every state
}

TEST(LabStates, OnlySoManyStatesAreHeld)
{
    Changing world;
    Client clients[] = {{world.states, 1}, {world.states, 2}, {world.states, 3}, {world.states, 4}};
    for (size_t i = 0; i < 3; i++) {
        world.move_on();
        clients[i].list(true);
    }
    world.news = true;
    for (int i = 0; i < 20; i++) {
        EXPECT_EQ(clients[3].list(true), "301 302 303 304"); // all are being read: the newest is shared
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(clients[3].say(verb::add, "obsdnsgrp", "name=first"),
              "id=1\n");                             // a change takes a state at once
    EXPECT_EQ(clients[0].list(false), "STATE_GONE"); // of who was silent longest
    EXPECT_EQ(clients[1].list(false), "205 206 207 208");
    EXPECT_EQ(clients[2].list(false), "305 306 307 308");
    EXPECT_EQ(clients[0].list(true), "401 402 403 404");
}

TEST(LabStates, AStateGoesWithTheClientThatReadIt)
{
    Changing world;
    world.move_on();
    int segment = shmget(IPC_PRIVATE, 4096, 0600);
    ASSERT_GE(segment, 0);
    Client client{world.states, segment};
    client.list(true);
    world.move_on();
    world.states.forget_ended();
    EXPECT_FALSE(world.all[0].expired());
    shmctl(segment, IPC_RMID, nullptr);
    world.states.forget_ended();
    EXPECT_TRUE(world.all[0].expired());
}

} // namespace
