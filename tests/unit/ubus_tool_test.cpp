#include <gtest/gtest.h>

#include <sys/wait.h>

#include "tests/paths.h"
#include "tests/unit/command_path.h"
#include "tests/unit/ubus_fixture.h"

// The ubus command and ifstatus, as the build made them.

namespace ubus_tool_test {

struct Outcome {
    std::string output; ///< both streams
    int status;
};

Outcome run(const std::string &command)
{
    Outcome outcome;
    FILE *pipe = popen(("exec 2>&1; " + command).c_str(), "re");
    for (int character; (character = fgetc(pipe)) != EOF;)
        outcome.output += static_cast<char>(character);
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

class UbusTool : public testing::Test {
  protected:
    UbusTool()
    {
        ubus_.with([](auto &server) {
            add_test_object(server, "probe");
            add_test_object(server, "stopped");
            server.set_silent("stopped", true);
        });
    }
    Outcome ubus(const std::string &words) { return run("'" BUILD_ROOT "/ubus' -s " + ubus_.path() + " " + words); }
    ServedUbus ubus_;
};

struct Row {
    const char *words;
    const char *output;
    int status;
};

TEST_F(UbusTool, PrintsAndEndsAsTheRealOneDoes)
{
    const Row rows[] = {
        {"list", "probe\nstopped\n", 0},
        {"list 'p*'", "probe\n", 0},
        {"list nope", "Command failed: Not found\n", 4},
        {"list ''", "Command failed: Invalid argument\n", 2},
        {"-S list nope", "", 4},
        {"call probe status", "{\n\t\"up\": true,\n\t\"mask\": 24,\n\t\"list\": [\n\t\t1,\n\t\t\"two\"\n\t]\n}\n", 0},
        {"-S call probe status", "{\"up\":true,\"mask\":24,\"list\":[1,\"two\"]}\n", 0},
        {"call probe quiet", "", 0},
        {"call probe empty", "{\n\t\n}\n", 0},
        {"-S call probe echo '{\"a\":{\"b\":[1.5,null]}}'", "{\"a\":{\"b\":[1.500000,null]}}\n", 0},
        {"call nope status", "Command failed: Not found\n", 4},
        {"-S call nope status", "", 4},
        {"call probe frob", "Command failed: ubus call probe frob (Method not found)\n", 253},
        {"-S call probe frob", "", 3},
        {"call probe refuse", "Command failed: ubus call probe refuse (Permission denied)\n", 250},
        {"call probe status notjson", "Command failed: ubus call probe status notjson (Parsing message data failed)\n",
         244},
        {"call probe status '[1]'", "Command failed: ubus call probe status [1] (Parsing message data failed)\n", 244},
        {"-t 1 call stopped status", "Command failed: ubus call stopped status (Request timed out)\n", 249},
    };
    for (const Row &row : rows) {
        const Outcome outcome = ubus(row.words);
        EXPECT_EQ(outcome.output, row.output) << row.words;
        EXPECT_EQ(outcome.status, row.status) << row.words;
    }
}

TEST_F(UbusTool, ListsMethodsAndTheirArguments)
{
    const std::string output = ubus("-v list probe").output;
    EXPECT_EQ(output.substr(0, 9), "'probe' @");
    EXPECT_EQ(output.substr(17), "\n\t\"status\":{}\n\t\"quiet\":{}\n\t\"empty\":{}\n\t\"refuse\":{}\n"
                                 "\t\"echo\":{\"text\":\"String\",\"number\":\"Integer\"}\n");
}

TEST_F(UbusTool, PrintsItsUsageForAnInvalidArgument)
{
    ubus_.with([](auto &server) {
        server.add_object("strict", {{"status"}}, [](auto &, auto *) -> simulator::UbusReply { return {2}; });
    });
    const Outcome outcome = ubus("call strict status");
    EXPECT_EQ(outcome.output.find("Command failed: ubus call strict status (Invalid argument)\nUsage: "), 0U);
    EXPECT_EQ(outcome.status, 254);
    for (const char *words : {"frob", "call", "call probe", "call probe a b c", "list a b"}) {
        EXPECT_EQ(ubus(words).output.find("Usage: "), 0U) << words;
        EXPECT_EQ(ubus(words).status, 254) << words;
    }
    for (const char *words : {"", "-x list"})
        EXPECT_EQ(ubus(words).status, 1) << words;
}

TEST_F(UbusTool, SaysThatThereIsNoUbusd)
{
    const Outcome outcome = run("'" BUILD_ROOT "/ubus' -s /nowhere list");
    EXPECT_EQ(outcome.output, "Failed to connect to ubus\n");
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(run("'" BUILD_ROOT "/ubus' -S -s /nowhere list").output, "");
}

struct Recording {
    const char *file;
    const char *words;
};

TEST(RecordedUbus, SendsWhatTheRealClientSendsAndPrintsWhatItPrints)
{
    const Recording recordings[] = {
        {"call_echo",
         R"(call probe echo '{"text":"q\"\\\n\u0001ü","number":-5,"more":[1,{"a":null}],"long":123456789012345,"half":1.5,"yes":true}')"},
        {"call_types", "-S call probe types"},
        {"call_quiet", "call probe quiet"},
        {"call_unknown_method", "call probe frob 2>/dev/null"},
        {"call_unknown_object", "call nope status 2>/dev/null"},
        {"list_verbose", "-v list probe"},
        {"list_pattern", "list 'pro*'"},
    };
    for (const Recording &recording : recordings) {
        std::vector<std::string> ubusd_says{""};
        std::vector<std::string> client_says;
        std::string output;
        for (const RecordedLine &line : read_recording(std::string(TEST_DATA "/ubus/") + recording.file + ".txt")) {
            if (line.who == "server") {
                ubusd_says.back() += line.bytes;
            } else if (line.who == "client") {
                client_says.push_back(line.bytes);
                ubusd_says.emplace_back();
            } else {
                output = line.bytes;
            }
        }
        ScriptedUbusd ubusd(ubusd_says);
        EXPECT_EQ(run("'" BUILD_ROOT "/ubus' -s " + ubusd.path() + " " + recording.words).output, output)
            << recording.file;
        EXPECT_EQ(ubusd.finish(), client_says) << recording.file;
    }
}

class Ifstatus : public testing::Test {
  protected:
    Ifstatus()
    {
        ubus_.with([](auto &server) {
            server.add_object("network.interface", {{"status", {{"interface", 3}}}},
                              [](const std::string &, json_object *arguments) -> simulator::UbusReply {
                                  return {0, Json{json_object_get(arguments)}};
                              });
            server.add_object("network.interface.lan", {}, nullptr);
        });
        directory_.script("ubus", "exec '" BUILD_ROOT "/ubus' -s " + ubus_.path() + " \"$@\"");
    }
    Outcome ifstatus(const std::string &words)
    {
        const CommandPath path(directory_);
        return run("'" BUILD_ROOT "/ifstatus' " + words);
    }
    ServedUbus ubus_;
    TemporaryDirectory directory_;
};

TEST_F(Ifstatus, PrintsTheStatusOfAnInterface)
{
    const Outcome outcome = ifstatus("lan");
    EXPECT_EQ(outcome.output, "{\n\t\"interface\": \"lan\"\n}\n");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(Ifstatus, SaysThatAnInterfaceIsNotFound)
{
    for (const std::string name : {"nope", "a\"b"}) {
        const Outcome outcome = ifstatus("'" + name + "'");
        EXPECT_EQ(outcome.output, "Interface " + name + " not found\n");
        EXPECT_EQ(outcome.status, 1);
    }
}

TEST_F(Ifstatus, TellsItsUsageWithoutAName)
{
    const Outcome outcome = ifstatus("");
    EXPECT_EQ(outcome.output, "Usage: " BUILD_ROOT "/ifstatus <interface>\n");
    EXPECT_EQ(outcome.status, 1);
}

} // namespace ubus_tool_test
