#include <fstream>

#include <gtest/gtest.h>
#include <json-c/json.h>

#include "tests/system/harness.h"

// `modemctl record`: the file that it writes is a modem for the simulated router, which says of itself what the real
// one says, but for the numbers that belong to a person.

namespace record_test {

// The report without its clocks and without what is masked.
std::string without_numbers(const std::string &report)
{
    json_object *root = json_tokener_parse(report.c_str());
    json_object_object_del(root, "uptime_s");
    const std::pair<const char *, const char *> numbers[] = {
        {"modem", "imei"}, {"sim", "imsi"}, {"sim", "iccid"}, {"sim", "number"}, {"serving", "cell_id"}};
    for (const auto &[object, member] : numbers) {
        json_object *holder = nullptr;
        if (json_object_object_get_ex(root, object, &holder))
            json_object_object_del(holder, member);
    }
    const std::string text = json_object_to_json_string(root);
    json_object_put(root);
    return text;
}

std::string recorded(const std::string &modem, const std::string &file)
{
    const RouterRun run = run_shell({"--modem", modem}, "modemctl record /tmp/own.modem && cat /tmp/own.modem");
    EXPECT_EQ(run.status, 0) << modem << run.err;
    std::ofstream(file) << run.out;
    return run.out;
}

const char *const models[] = {"EC25", "EP06", "BG95", "EC200T", "MC7430", "NL678E", "SIMCOM7600", "ME3630", "unlisted"};

TEST(Record, GivesAModemThatReportsTheSame)
{
    const TemporaryFolder folder;
    for (const std::string model : models) {
        const std::string file = folder.path() + "/" + model + ".modem";
        const std::string text = recorded(model, file);
        const RouterRun real = run_in_router({"--modem", model}, {"modemctl", "info", "--json"});
        const RouterRun played = run_in_router({"--modem", file, "--strict"}, {"modemctl", "info", "--json"});
        EXPECT_EQ(played.status, 0) << model << played.err;
        EXPECT_EQ(without_numbers(played.out), without_numbers(real.out)) << text;
    }
}

TEST(Record, HoldsNoNumberOfAPerson)
{
    const TemporaryFolder folder;
    for (const std::string model : models) {
        const std::string text = recorded(model, folder.path() + "/own.modem");
        const RouterRun real = run_in_router({"--modem", model}, {"modemctl", "info", "--json"});
        json_object *root = json_tokener_parse(real.out.c_str());
        size_t looked_for = 0;
        for (const char *member : {"imei", "imsi", "iccid", "number", "cell_id"})
            for (const char *holder : {"modem", "sim", "serving"}) {
                json_object *object = nullptr;
                json_object *value = nullptr;
                if (!json_object_object_get_ex(root, holder, &object) ||
                    !json_object_object_get_ex(object, member, &value))
                    continue;
                EXPECT_EQ(text.find(json_object_get_string(value)), std::string::npos) << model << " " << member;
                looked_for++;
            }
        json_object_put(root);
        EXPECT_GE(looked_for, 2U) << real.out;
    }
}

TEST(Record, WritesAFileForItsOwnerOnly)
{
    const RouterRun run =
        run_shell({"--modem", "EC25"}, "modemctl record /tmp/own.modem; stat -c %a /tmp/own.modem; ls /tmp | grep own");
    EXPECT_EQ(run.out, "600\nown.modem\n");
}

TEST(Record, LeavesNothingOnAFullDisk)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25"},
        "mkdir /tmp/full && mount -t tmpfs -o size=4k none /tmp/full; cd /tmp/full; head -c 4096 /dev/zero >rest\n"
        "modemctl record own.modem; echo $?; ls -A");
    EXPECT_EQ(run.out, "74\nrest\n");
}

TEST(Record, EndsAsInfoDoes)
{
    EXPECT_EQ(run_in_router({}, {"modemctl", "record", "/tmp/own.modem"}).status, 1);
    EXPECT_EQ(run_in_router({"--modem", "EC25", "--fault", "silence"}, {"modemctl", "record", "/tmp/own.modem"}).status,
              2);
    EXPECT_EQ(run_in_router({"--modem", "EC25"}, {"modemctl", "record"}).status, 64);
    EXPECT_EQ(run_in_router({"--modem", "EC25"}, {"modemctl", "record", "one", "two"}).status, 64);
}

TEST(Record, WritesNothingOfAModemThatSaysNothing)
{
    const RouterRun run = run_shell({"--modem", "EC25", "--fault", "silence"},
                                    "modemctl record /tmp/own.modem; echo $?; ls /tmp/own.modem 2>/dev/null");
    EXPECT_EQ(run.out, "2\n");
}

// What is not in the record of a modem without a row: where its AT port is. It is looked for once while it is plugged
// in; later only the port that was found is asked whether it still answers.
TEST(Record, LooksForThePortOnce)
{
    const RouterRun run = run_shell({"--modem", "unlisted"}, "modemctl info >/dev/null; cat /tmp/modem.1-1.2/at-port\n"
                                                             "sed -i s/ttyUSB0/ttyUSB2/ /tmp/modem.1-1.2/at-port\n"
                                                             "modemctl info >/dev/null; cat /tmp/modem.1-1.2/at-port\n"
                                                             "modemctl info >/dev/null");
    const std::vector<std::string> kept = lines_of(run.out);
    EXPECT_EQ(kept.at(1), "/dev/ttyUSB0");
    EXPECT_EQ(kept.at(3), "/dev/ttyUSB0") << "found again after the wrong port was silent";
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT\r\n") << "asked the once that it was taken for the port";
}

} // namespace record_test
