#include <gtest/gtest.h>

#include "tests/system/harness.h"
#include "tests/system/web_requests.h"

// Words and texts that no honest caller gives: every command and every endpoint answers them, runs nothing of them and
// leaves the configuration whole.

namespace hostile_input_test {

// As the router's printf takes them.
const char *const nasty_words[] = {
    "",
    " ",
    "-",
    "--",
    "-D",
    "-B",
    "--help",
    "\\n",
    "\\r\\nAT+OWN\\r\\n",
    "\\001\\002\\033[2J\\177",
    "\\377\\376\\200\\303",
    "%%s%%n%%99999d",
    "../../../../etc/passwd",
    "\\047;touch /tmp/owned;\\047",
    "\\042;touch /tmp/owned;\\042",
    "$(touch /tmp/owned)`touch /tmp/owned`",
    "99999999999999999999",
    "-2147483649",
    "/dev/zero",
    "/",
    "network.lan",
};

// All that a router's programs say when they were given something broken, or made something broken.
const char show_damage[] =
    "\nls /tmp/owned 2>/dev/null; grep -E 'syntax error|not found|Segmentation|Abort' /run/errors; "
    "for name in $(ls -A /etc/config); do uci -q export \"$name\" >/dev/null || echo \"$name is broken\"; done; "
    "uci get network.lan.proto; diff -r /etc/config /run/before | grep -v '^Only' | grep -c '^.'; true";

std::string words_as_files()
{
    std::string script = "mkdir /run/words; head -c 100000 /dev/zero | tr '\\0' A >/run/words/long; n=0\n";
    for (const char *word : nasty_words)
        script += "n=$((n + 1)); printf '" + std::string{word} + "' >/run/words/$n\n";
    return script + "cp -r /etc/config /run/before\n";
}

TEST(SlowHostileInput, InEveryWordOfACommandIsOnlyAWord)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--link", "setup=50"},
        words_as_files() +
            "try() { modemctl \"$@\" >/run/out 2>>/run/errors </dev/null; [ $? -lt 128 ] || echo \"ended: $1\"; }\n"
            "for file in /run/words/*; do word=$(cat $file; echo .); word=${word%.}\n"
            "    try \"$word\"; try -D \"$word\"; try -B \"$word\"; try -D -B \"$word\" signal; try \"1-1$word\" "
            "signal\n"
            "    for command in sim-status carrier iccid convert info record modems connect apn bands mode watch; do "
            "try $command "
            "\"$word\"; "
            "done\n"
            "    try convert \"$word\" \"$word\"; try convert /etc/passwd \"$word\"; try AT \"$word\" AT; "
            "try AT a b \"$word\"; try connect \"$word\" \"$word\" \"$word\"; try info --json \"$word\"; "
            "try bands --set \"$word\"; try watch pause \"$word\"; try watch \"$word\" status\n"
            "done\n"
            "ls /run/words | wc -l" +
            show_damage);
    EXPECT_EQ(run.out, std::to_string(std::size(nasty_words) + 1) + "\nstatic\n0\n") << run.err;
    EXPECT_EQ(run.status, 0);
}

// Every endpoint, every member, every value; but of their combinations a quarter, which is enough for all pairs.
std::vector<std::string> hostile_requests()
{
    const std::string members[][2] = {
        {"bus", "\"1-1.2\""},  {"modem_id", "1"},    {"msg_id", "\"GSM1.x\""},   {"number", "\"1\""},
        {"message", "\"m\""},  {"tel", "\"1\""},     {"email", "\"a@b\""},       {"account", "\"a@b\""},
        {"password", "\"p\""}, {"smtp", "\"s\""},    {"at-command", "\"AT\""},   {"at-port", "\"/dev/null\""},
        {"action", "\"set\""}, {"country", "\"x\""}, {"country_code", "\"49\""}, {"type", "\"x\""},
    };
    const std::string values[] = {
        "null",
        "true",
        "-1",
        "1e308",
        "99999999999999999999",
        "\"\"",
        "[]",
        "{\"a\":{\"b\":[1,null]}}",
        std::string(29, '[') + std::string(29, ']'),
        "\"\\u0000\\u0001\\ud800\\u202e\"",
        "\"\xFF\xFE\xC0\xAF\"",
        "\"a\\r\\nb\"",
        "\"$(touch /tmp/owned)\\\";touch /tmp/owned;\\\"\"",
        "\"../../../etc/passwd\"",
        "\"%s%n%99999d\"",
        "\"-D\"",
        "\"" + std::string(250, 'A') + "\"",
    };
    const std::string endpoints[] = {
        "get /modem/brief_info",      "get /modem/get",       "post /modem/enable",     "post /modem/at",
        "get /modem/sms/list",        "post /modem/sms/code", "post /modem/sms/delete", "post /modem/sms/status",
        "post /modem/sms/delete_all", "get /modem/sms/flist", "post /modem/sms/send",   "post /modem/sms/forward",
        "post /modem/sms/account",
    };
    std::vector<std::string> requests;
    size_t number = 0;
    for (const std::string &endpoint : endpoints)
        for (const auto &[changed, _] : members)
            for (const std::string &value : values) {
                std::string text;
                for (const auto &[key, usual] : members)
                    text += (text.empty() ? "{\"" : ",\"") + key + "\":" + (key == changed ? value : usual);
                if (number++ % 4 == 0)
                    requests.push_back(endpoint + " " + text + "}");
            }
    const std::string ten_megabytes = "\"" + std::string(10'000'000, 'A') + "\"}";
    for (const char *beginning : {"post /modem/set {\"modem_id\":1,\"device\":\"/dev/cdc-wdm0\",\"apn\":",
                                  "post /modem/sms/send {\"modem_id\":1,\"number\":\"1\",\"message\":",
                                  "post /modem/at {\"at-port\":\"/dev/ttyUSB2\",\"at-command\":"})
        requests.push_back(beginning + ten_megabytes);
    return requests;
}

TEST(SlowHostileInput, InARequestIsAnsweredAndGoesNowhereElse)
{
    const std::vector<std::string> requests = hostile_requests();
    std::string text;
    for (const std::string &request : requests)
        text += request + "\n";
    const RouterRun run =
        serve({"--modem", "EC25"}, text, "exec 2>/run/errors; cp -r /etc/config /run/before", show_damage);
    const std::vector<std::string> lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), requests.size() + 2) << run.out.substr(run.out.size() - 1000) << run.err;
    for (size_t i = 0; i < requests.size(); i++)
        EXPECT_TRUE(lines[i].find(" {") != std::string::npos && lines[i].ends_with("}"))
            << requests[i].substr(0, 500) << "\n"
            << lines[i];
    EXPECT_EQ(lines[requests.size()], "static");
}

} // namespace hostile_input_test
