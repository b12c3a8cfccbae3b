// vigil-json: one valid document whatever happens, with the plain form's exit status.
#include "tests/support/program.h"

#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

// clang-format off
namespace {

constexpr Daemon A = Daemon::analysis, M = Daemon::management, C = Daemon::chart;
const Reply refusal{.error = 7, .error_text = "NO \"IT\""};

Exchange flows(int32_t count, bool last, int32_t cursor = 0)
{
    const std::string flow = Bytes(24).ip(0, 10, 0, 0, 1).ip(4, 10, 0, 0, 2).be16(8, 1).be16(10, 2).str();
    std::string answer;
    for (int32_t i = 0; i < count; i++)
        answer += flow;
    return {{.code = 2055, .module = "idssum", .data = leading(" show_session=1"), .cursor = cursor}, {.answer = answer, .count = count, .last = last}};
}
const std::string flow_row = R"({"src":"10.0.0.1","dst":"10.0.0.2","sport":1,"dport":2,"proto":0,"catagore":0,"pkts0":0,"pkts1":0,"birth":0})";

TEST(JsonForm, ListingsLinesTextsAndErrors)
{
    const std::string hosts = Bytes(8).ip(0, 1, 2, 3, 4).ip(4, 255, 0, 0, 9).str();
    const Request listing{.code = 2055, .module = "idssum", .data = leading(" show_session=1")};
    const Case cases[] = {
        command("@json verbless", A, {}, "{\"verbs\":[]}\n", 255),
        command("@json disk", A, {}, "{\"verbs\":[\"disk stat\"]}\n", 255),
        command("@json no verb\"", A, {}, "{\"error\":{\"text\":\"invalid commands: no verb\\\"\",\"status\":1}}\n", 1),
        command("@json disk stat", A, {{{.code = 2050, .module = "disk"}, {.answer = "a\t\"\xd6\xd0\x80\n"}}}, "{\"text\":\"a\\t\\\"\xe4\xb8\xad\xef\xbf\xbd\\n\"}\n"),
        command("@json disk stat", A, {{{.code = 2050, .module = "disk"}, {.answer = ""}}}, "{}\n"),
        command("@json disk stat", A, {{{.code = 2050, .module = "disk"}, refusal}}, "{\"error\":{\"text\":\"NO \\\"IT\\\"\",\"status\":255}}\n", 255),
        command("@json worker add x", A, {{{.code = 2051, .module = "worker", .data = counted("x ")}, {.answer = "t", .count = -1}}}, "{\"text\":\"t\"}\n", 255), // no failure
        command("@json obstopo add x", M, {{{.code = 2051, .module = "obstopo", .data = leading(" x")}, {.answer = "t"}}}, "{\"text\":\"t\"}\n"),
        command("@json keytbl list", A, {{{.code = 282, .data = counted("")}, refusal}}, "{\"error\":{\"text\":\"NO \\\"IT\\\"\",\"status\":0}}\n"),
        // a typed argument with a blank would reach the daemon as two
        {.name = "blank", .arguments = {"@json", "worker", "add", "a b"}, .daemon = A, .output = "{\"error\":{\"text\":\"INV_ARG\",\"status\":255}}\n", .status = 255},
        {.name = "blank name", .arguments = {"@json", "chart", "rowlist", "a\n"}, .daemon = C, .output = "{\"error\":{\"text\":\"INV_ARG\",\"status\":255}}\n", .status = 255},
        command("@json mempcap dump", M, {}, "{\"error\":{\"text\":\"packets are no text: use vigil\",\"status\":255}}\n", 255),
        command("@json malcip list", M, {{{.code = 2055, .module = "malcip", .data = counted("")}, {.answer = hosts, .count = 2}}}, "{\"lines\":[\"1.2.3.4\",\"255.0.0.9\"]}\n"),
        command("@json malcip list", M, {{{.code = 2055, .module = "malcip", .data = counted("")}, {.answer = hosts, .count = 2, .last = false}}, {{.code = 2055, .module = "malcip", .data = counted("")}, refusal}},
                "{\"lines\":[\"1.2.3.4\",\"255.0.0.9\"],\"error\":{\"text\":\"NO \\\"IT\\\"\",\"status\":255}}\n", 255),
        // a document that was begun: an object, an array, with a row and without
        command("@json kesidslog listflow", M, {flows(2, true)}, R"({"data":[)" + flow_row + "," + flow_row + "], \"total\":2}\n"),
        command("@json kesidslog listflow", M, {flows(1, false), {listing, refusal}}, R"({"data":[)" + flow_row + R"(],"error":{"text":"NO \"IT\"","status":255}})" "\n", 255),
        command("@json kesidslog listflow", M, {{listing, refusal}}, R"({"data":[],"error":{"text":"NO \"IT\"","status":255}})" "\n", 255),
        command("@json nevt list json=0", M, {{{.code = 2055, .module = "nevt", .data = leading("")}, refusal}}, R"([{"error":{"text":"NO \"IT\"","status":255}}])" "\n", 255),
        command("@json nevt list", M, {{{.code = 2055, .module = "nevt", .data = leading("")}, {.answer = std::string(352, '\0'), .count = 1, .last = false}}, {{.code = 2055, .module = "nevt", .data = leading("")}, refusal}},
                R"([{"id":0,"evtype":"","evattr":"","evsn":0,"rid":0,"evt_birth":0,"evdeath":0,"robj":"","robj_ch":"","effective":0,"evopcode":"","evlimit1":"","evlimit2":"","insname":"","insname_ch":"","excnt":0,"lval":"","fval":"","lreport":0,"alarm_level":0,"obj_threshold":0},)"
                R"({"error":{"text":"NO \"IT\"","status":255}}])" "\n", 255),
        // messages in front of the document, and the words that choose JSON stay here
        command("@json obstlslog list", M, {{{.code = 2055, .module = "obstlslog", .data = leading("")}, {}}}, R"({"data":[], "total":0,"notes":["file fstat error"]})" "\n"),
        command("@json whiteip list showjson=0 page=1", M, {{{.code = 2055, .module = "whiteip", .data = counted("page=1 ")}, {}}}, "{\"list\":[], \"total\":0}\n"),
        command("@json chart dump json=0", C, {{{.code = 1, .data = counted("")}, {}}}, "[]\n"),
        command("@json nevtlog list showsum=1", M, {{{.code = 2055, .module = "nevt_log", .data = leading("")}, {}}},
                R"({"data":[{"all":0, "today_num":0, "today_read":0, "today_unread":0, "level":[0,0,0,0], "evtype":[],"if":[],"mal":[]}]})" "\n"),
        command("@json malclog list", M, {{{.code = 2054, .module = "malc", .data = leading(" log=1")}, {}}}, "{}\n"),
        command("@json malclog list show_malc=1", M, {{{.code = 2054, .module = "malc", .data = leading(" show_malc=1 log=1")}, {}}}, "[]\n"),
        command("@json malclog list show_malc=1 show_flowlog=1", M, {{{.code = 2054, .module = "malc", .data = leading(" show_malc=1 show_flowlog=1 log=1")}, {}}},
                "{\"show_flowlog\":{\"data\":[], \"today\":0, \"total\":0},\"show_malc\":[]}\n"),
    };
    run_cases(cases);
}

TEST(JsonForm, AlertsGoOutAsTheyAreOrAsTexts)
{
    std::string answer;
    for (std::string_view text : {R"({"a":1})", R"({"a":1,"a":2})", "no \"object\""})
        answer += Bytes(3844).text(4, std::string(text), 3840).str();
    run_case(command("@json kesidslog list", M, {{{.code = 2055, .module = "kesidslog", .data = leading("")}, {.answer = answer, .count = 3}}},
                     R"({"data":[{"a":1},"{\"a\":1,\"a\":2}","no \"object\""], "total":3})" "\n"));
}

// A name that imitates members changes no other member.
TEST(JsonForm, AForgedNameStaysAText)
{
    const std::string forged = R"({"x":"},{"A":"B)";
    const std::string record = Bytes(92).text(48, forged, 44).str();
    run_case(command("@json whiteip get", M, {{{.code = 2054, .module = "whiteip", .data = counted("")}, {.answer = record, .count = 1}}},
                     R"({"list":[{"ip":"0.0.0.0","birth":0,"lasttime":0,"flows":0,"desc":"{\"x\":\"},{\"A\":\"B"}], "total":1})" "\n"));
}

// A daemon that hangs after a batch: the timer or a signal ends the run, and the document.
TEST(JsonForm, AStoppedRunClosesItsDocument)
{
    const struct {
        std::string program, timeout, output;
    } cases[] = {
        {"@json", "1", R"({"data":[)" + flow_row + R"(,)" + flow_row + R"(],"error":{"text":"timeout","status":1}})" "\n"},
        {"@json", "", R"({"data":[)" + flow_row + R"(,)" + flow_row + R"(],"error":{"text":"stopped","status":1}})" "\n"},
        {"", "1", R"({"data":[)" + flow_row + "," + flow_row},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program + c.timeout);
        PrivateRoot root;
        Exchange hanging = flows(1, true);
        hanging.reply.delay_ms = 2500;
        ScriptedDaemon daemon(root.path() + socket_of(M), {flows(2, false), hanging});
        Environment environment = environment_below(root.path());
        if (!c.timeout.empty())
            environment["VIGIL_TIMEOUT"] = c.timeout;
        std::vector<std::string> words{"kesidslog", "listflow"};
        if (!c.program.empty())
            words.insert(words.begin(), c.program);
        Program program(words, environment);
        if (c.timeout.empty()) {
            usleep(300000);
            kill(program.pid(), SIGTERM);
        }
        const RunResult& run = program.wait(20);
        daemon.abandon();
        EXPECT_EQ(1, run.status);
        EXPECT_EQ(c.output, run.output);
    }
}

TEST(JsonForm, TheTimeIsANumberOfSeconds)
{
    for (const char* value : {"", "0", "3601", "1s", "-1", " 1", "1.5", "99999999999"})
        for (const char* program : {"@json", "disk"}) {
            Case one{.name = value, .arguments = {program, "disk", "stat"}, .daemon = A, .status = 255, .environment = {{"VIGIL_TIMEOUT", value}}};
            const std::string text = "VIGIL_TIMEOUT must be 1 to 3600";
            one.output = program[0] == '@' ? "{\"error\":{\"text\":\"" + text + "\",\"status\":255}}\n" : text + "\n";
            run_case(one);
        }
}

TEST(JsonForm, WhatMemoryLacksForIsAnError)
{
    Case note = failing("alloc 35", command("@json ipobj listbussflow src=nowhere", M,
        {{{.code = 2055, .module = "obsbussflow", .data = trailing(""), .wants_dictionary = true}, {}}}, "{\"lines\":[\"total 0\"],\"error\":{\"text\":\"NO_MEM\",\"status\":255}}\n", 255));
    note.dictionary = "full";
    const Case cases[] = {
        note,
        failing("alloc-from 2", command("@json obslog", Daemon::none, {}, "{\"verbs\":[\"obslog stat\"],\"error\":{\"text\":\"NO_MEM\",\"status\":255}}\n", 255)),
        failing("alloc 53", command("@json gadget frob", Daemon::none, {}, "{\"error\":{\"text\":\"\",\"status\":1}}\n", 1)), // the refusal itself
    };
    run_cases(cases);
}

// A stop signal comes where the answer is being decoded: it is read to its end, then the run ends.
TEST(JsonForm, AStopLeavesTheAnswerReadable)
{
    const std::string answer(20'000, 'x');
    run_case(failing("stop 120000", command("@json gadget list", A, {{{.code = 2055, .module = "gadget", .data = trailing("")}, {.answer = answer}}},
                                            "{\"text\":\"" + answer + "\",\"error\":{\"text\":\"stopped\",\"status\":1}}\n", 1)));
}

} // namespace
