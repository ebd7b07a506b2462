#include <algorithm>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// The ubus object as rpcd sees it: the plugin's path, arguments as JSON on standard input, one answer within the time
// after which rpcd kills it.

namespace rpcd_test {

using Options = std::vector<std::string>;

const std::string helpers = R"sh(
mkdir -p /usr/libexec/rpcd; ln -sf "$(command -v modemctl)" /usr/libexec/rpcd/modemctl
call() { printf '%s' "${2:-{\}}" | timeout 30 /usr/libexec/rpcd/modemctl call "$1"; }
id_of() { sed 's/.*"job":"\([0-9a-f]*\)".*/\1/'; }
job() { call job "{\"id\":\"$1\"}"; }
ended() { n=0; while job "$1" | grep -q running; do n=$((n + 1)); [ $n -lt 900 ] || break; sleep 0.1; done; job "$1"; }
done_by() { ended "$(call "$@" | id_of)"; }
# A stopped job never ends, however slow the machine is. It must have closed the caller's pipe before. Prints the processes.
stop_jobs() {
    for p in /proc/[0-9]*; do
        read -r pid name state rest <$p/stat && [ "$name" = "(modemctl)" ] && [ "$state" != T ] && kill -STOP $pid && echo $pid
    done 2>/dev/null
}
held() { call "$@" | cut -c 1-8; stop_jobs >/dev/null; }
)sh";

RouterRun call(const Options &options, const std::string &script)
{
    return run_shell(options, helpers + script);
}

bool holds(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

// All that a page asks to show itself. Sending a message and changing a setting are among it.
const std::string every_quick_method = R"sh(
for m in modems info identity status history usage settings resume messages log missing; do call $m; done
call pause '{"minutes":1}'; call job '{"id":"0123456789abcdef0123456789abcdef"}'
call message_read '{"id":"in/GMS99.none"}'; call message_delete '{"id":"sent/none"}'
call message_send '{"number":"+43660123","text":"hello"}'; call set '{"bus":"1-1.2","values":{"interval":20}}'
)sh";

TEST(Rpcd, AnswersAtOnceWithoutAWordToTheModem)
{
    for (const Options &options :
         {Options{"--modem", "EC25"}, Options{"--modem", "EC25", "--fault", "silence"}, Options{}}) {
        const RouterRun run = call(options, every_quick_method);
        const auto answers = lines_of(run.out);
        EXPECT_EQ(answers.size(), 17U) << run.out << run.err;
        for (const std::string &answer : answers)
            EXPECT_TRUE(answer.starts_with("{") && answer.ends_with("}")) << answer;
        EXPECT_EQ(run.sent_to("ttyUSB2"), "");
        EXPECT_LT(run.duration.count(), 15'000) << "one question to a silent modem takes longer than all of these";
    }
}

TEST(Rpcd, ListsItsMethodsWithoutAModemToo)
{
    const RouterRun run = call({}, "/usr/libexec/rpcd/modemctl list >/tmp/one; modemctl rpcd list >/tmp/two; "
                                   "cmp /tmp/one /tmp/two; cat /tmp/one; modemctl rpcd; echo $?; modemctl rpcd call; "
                                   "echo $?");
    EXPECT_TRUE(run.out.starts_with(R"({"modems":{},"info":{"bus":""})")) << run.out;
    EXPECT_TRUE(run.out.ends_with("}\n64\n64\n")) << run.out;
}

TEST(Rpcd, NamesTheFilesThatWereWrittenBeforeOneThatCannotBe)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
rm -f /etc/config/modemctl; mkdir /etc/config/modemctl
call set '{"bus":"1-1.2","values":{"apn":"internet","interval":20}}'
call set '{"bus":"1-1.2","values":{"interval":20}}'; uci get network.modem_1_1_2.apn)sh");
    const std::string failure = R"({"error":"failed","message":"the configuration modemctl cannot be written",)";
    EXPECT_EQ(run.out, failure + R"("written":["network"]})" + "\n" + failure + R"("written":[]})" + "\ninternet\n");
}

TEST(Rpcd, AnswersAnythingWithAnObject)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
for input in '[]' '{' '{"bus":1}' '{"bus":"$(id >/tmp/ran)"}' '{"bus":"1-1.2;id"}' '{"x":1}' '{"bus":"9-9"}' '{"bus":null}'; do
    call status "$input" | cut -c 1-30; done
printf '{"bus":"1-1.2\0"}' | modemctl rpcd call status
head -c 70000 /dev/zero | tr '\0' ' ' | modemctl rpcd call status | cut -c 1-30
modemctl rpcd call status </dev/null | cut -c 1-30
modemctl rpcd call status <&- | cut -c 1-30
head -c 3000 /dev/urandom | modemctl rpcd call status | cut -c 1-30
call nothing; ls /tmp/ran 2>/dev/null)sh");
    const std::string healthy = "{\"bus\":\"1-1.2\",\"interface\":\"mo\n";
    const std::string bad = "{\"error\":\"bad-argument\",\"messa\n";
    EXPECT_EQ(run.out, bad + bad + bad + bad + bad + bad + "{\"error\":\"no-modem\",\"message\":\n" + healthy +
                           "{\"error\":\"bad-argument\",\"message\":\"the arguments are not a JSON object\"}\n" + bad +
                           healthy + healthy + bad +
                           "{\"error\":\"not-found\",\"message\":\"there is no such method\"}\n")
        << run.err;
}

TEST(Rpcd, ShowsNoNumberOfCardOrModemWithoutTheRight)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
done_by refresh; call info; call status; call settings; done_by apn; done_by bands; done_by mode; call usage; echo ---
call identity)sh");
    const size_t admin = run.out.find("---\n");
    ASSERT_NE(admin, std::string::npos);
    const std::string shown = run.out.substr(0, admin);
    EXPECT_TRUE(holds(shown, R"("age":)")) << shown;
    for (const char *secret : {"861536030123456", "232031234567890", "89430300001234567890", R"("password":)"})
        EXPECT_FALSE(holds(shown, secret)) << secret;
    EXPECT_EQ(run.out.substr(admin),
              "---\n{\"imei\":\"861536030123456\",\"imsi\":\"232031234567890\",\"iccid\":\"89430300001234567890\"}\n");
}

TEST(Rpcd, ShowsNoNumberOfTheCardInTheReasonForAnApn)
{
    const RouterRun run = call(
        {"--modem", "EC25,imsi=311480123456789", "--put", TEST_DATA "/apn/apn-config.js:/www/src/lib/apn-config.js"},
        "done_by apn");
    EXPECT_TRUE(holds(run.out, R"("apn":"vzwinternet")")) << run.out;
    EXPECT_TRUE(holds(run.out, R"("why":"IMSI 31148")")) << run.out;
    EXPECT_FALSE(holds(run.out, "311480123456789")) << run.out;
}

TEST(RpcdJobs, EndWithTheStatusOfTheirCommand)
{
    const struct {
        Options options;
        const char *script;
        const char *expected;
    } rows[] = {
        {{"--modem", "EC25"},
         "done_by mode",
         R"({"state":"done","status":0,"result":{"schema":1,"bus":"1-1.2","mode":"auto"}})"},
        {{"--modem", "EC25"},
         R"sh(done_by at '{"command":"AT+CPIN?"}')sh",
         R"({"state":"done","status":0,"result":{"reply":"AT+CPIN?\r\r\n+CPIN: READY\r\n\r\nOK"}})"},
        {{"--modem", "EC25"},
         R"sh(done_by at '{"command":"AT+NONE"}')sh",
         R"({"state":"done","status":0,"result":{"reply":"AT+NONE\r\r\nERROR"}})"},
        {{"--modem", "EC25"},
         R"sh(done_by mode '{"bus":"2-1"}')sh",
         R"({"state":"done","status":1,"result":{"schema":1,"bus":"2-1"}})"},
        {{"--modem", "EC25"},
         "done_by record | cut -c 1-60",
         R"({"state":"done","status":0,"result":{"transcript":"# Recorde)"},
        {{"--modem", "EC25"},
         R"sh(done_by bands_set '{"bands":["B3","B20"],"keep":true}')sh",
         R"({"state":"done","status":0,"result":{"schema":1,"bus":"1-1.2","active":{"lte":["B3","B20"]}}})"},
        {{"--modem", "EC25", "--fault", "silence"},
         "done_by mode",
         R"({"state":"done","status":2,"result":{"schema":1,"bus":"1-1.2"}})"},
        {{},
         R"sh(call mode; call job '{"id":"00000000000000000000000000000000"}' | cut -c 1-20)sh",
         "{\"error\":\"no-modem\",\"message\":\"there is no modem on any bus\"}\n{\"error\":\"not-found\""},
    };
    for (const auto &row : rows) {
        const RouterRun run = call(row.options, row.script);
        EXPECT_EQ(run.out, std::string{row.expected} + "\n") << row.script << run.err;
    }
}

TEST(RpcdJobs, AnswerTheCallWhileTheModemHangs)
{
    const RouterRun run = call({"--modem", "EC25", "--fault", "silence"}, R"sh(
id=$(call refresh | id_of); job $id; call status | cut -c 1-14; call mode | cut -c 1-7; job $id
ls /tmp/modem.jobs | grep -c "$id")sh");
    EXPECT_EQ(run.out, "{\"state\":\"running\"}\n{\"bus\":\"1-1.2\"\n{\"job\":\n{\"state\":\"running\"}\n1\n")
        << run.err;
}

TEST(RpcdJobs, AreFourAtMostAndOneThatChangesAModem)
{
    const RouterRun run = call({"--modem", "EC25", "--modem", "EP06@2-1.2", "--fault", "silence"}, R"sh(
held mode_restore; call bands_restore; call connect '{"bus":"1-1.2"}' | cut -c 1-15
held mode_set '{"bus":"2-1.2","mode":"4g"}'
held mode; held mode; call mode; call set '{"values":{"interval":7}}')sh");
    EXPECT_EQ(run.out, "{\"job\":\"\n"
                       "{\"error\":\"busy\",\"message\":\"another job changes the modem on bus 1-1.2\"}\n"
                       "{\"error\":\"busy\"\n{\"job\":\"\n{\"job\":\"\n{\"job\":\"\n"
                       "{\"error\":\"busy\",\"message\":\"4 jobs run already\"}\n{\"result\":\"ok\"}\n")
        << run.err;
}

// Who may only look must not keep the router from being connected.
TEST(RpcdJobs, OfReadersLeaveRoomForThoseThatChangeAModem)
{
    const RouterRun run = call({"--modem", "EC25", "--modem", "EP06@2-1.2", "--fault", "silence"}, R"sh(
for i in 1 2 3 4; do held mode; done; call mode | cut -c 1-15
held mode_restore; held mode_set '{"bus":"2-1.2","mode":"4g"}'; call mode | cut -c 1-15)sh");
    EXPECT_EQ(run.out, "{\"job\":\"\n{\"job\":\"\n{\"job\":\"\n{\"job\":\"\n{\"error\":\"busy\"\n"
                       "{\"job\":\"\n{\"job\":\"\n{\"error\":\"busy\"\n")
        << run.err;
}

TEST(RpcdJobs, ComeToTheirEndWhenTmpIsFull)
{
    const RouterRun run = call({"--modem", "EC25", "--fault", "silence"}, R"sh(
killed=$(call at '{"command":"ATI"}' | id_of); stop_jobs >/dev/null; id=$(call mode | id_of); full=$(stop_jobs)
dd if=/dev/zero of=/tmp/full bs=1M 2>/dev/null; dd if=/dev/zero of=/tmp/full2 bs=1k 2>/dev/null
kill -CONT $full; ended $id; call mode
for p in /proc/[0-9]*; do
    [ "$(cat $p/comm 2>/dev/null)" != modemctl ] || kill -9 ${p#/proc/}
done; sleep 0.2; job $killed
rm /tmp/full /tmp/full2; call mode | cut -c 1-8)sh");
    EXPECT_EQ(run.out, "{\"state\":\"done\",\"status\":4,\"output\":\"there is no room for the result\"}\n"
                       "{\"error\":\"failed\",\"message\":\"there is no room for a job\"}\n"
                       "{\"state\":\"done\",\"status\":-1,\"output\":\"ended from outside\"}\n{\"job\":\"\n")
        << run.err;
}

TEST(RpcdJobs, ThatWereKilledSaySoAndMakeRoom)
{
    const RouterRun run = call({"--modem", "EC25", "--fault", "silence"}, R"sh(
id=$(call mode_set '{"mode":"4g"}' | id_of); stop_jobs >/dev/null
for p in /proc/[0-9]*; do
    [ "$(cat $p/comm 2>/dev/null)" != modemctl ] || kill -9 ${p#/proc/}
done
sleep 0.2; job $id; job $id; call bands_restore | cut -c 1-8)sh");
    const std::string lost = "{\"state\":\"done\",\"status\":-1,\"output\":\"ended from outside\"}\n";
    EXPECT_EQ(run.out, lost + lost + "{\"job\":\"\n") << run.err;
}

// A stopped process does not hear SIGTERM either.
TEST(SlowRpcdJobs, AreEndedAtTheirLimit)
{
    const RouterRun run = call({"--modem", "EC25", "--fault", "silence"}, R"sh(
id=$(call refresh | id_of); sleep 0.5
for p in /proc/[0-9]*; do
    read -r pid name state parent group session rest <$p/stat
    [ "$name" = "(modemctl)" ] && [ "$pid" = "$group" ] && [ "$group" != "$session" ] && kill -STOP $pid && echo stopped
done 2>/dev/null
ended $id; cat /proc/[0-9]*/stat | grep -c '(modemctl)')sh");
    EXPECT_EQ(run.out, "stopped\n{\"state\":\"done\",\"status\":124,\"output\":\"ended at its time limit\"}\n0\n")
        << run.err;
}

TEST(RpcdJobs, AreNobodyElsesToForgeOrRead)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
touch /tmp/x; chown 65534 /tmp/x 2>/dev/null || { echo alone; exit; }
forged=0123456789abcdef0123456789abcdef
mkdir /tmp/modem.jobs; printf 'done 1\n{"state":"done","status":0}' >/tmp/modem.jobs/$forged; ln -s /etc/kept /tmp/modem.jobs/lock
echo kept >/etc/kept; chmod 777 /tmp/modem.jobs; chown -hR 65534 /tmp/modem.jobs
job $forged | cut -c 1-20
id=$(call mode | id_of); ended $id | cut -c 1-27
stat -c '%a %u' /tmp/modem.jobs /tmp/modem.jobs/$id; cat /etc/kept
setpriv --reuid 65534 --clear-groups cat /tmp/modem.jobs/$id 2>&1 | sed 's/.*: //'
setpriv --reuid 65534 --clear-groups ls /tmp/modem.jobs 2>&1 | sed 's/.*: //')sh");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "{\"error\":\"not-found\"\n{\"state\":\"done\",\"status\":0,\n700 0\n600 0\nkept\n"
                       "Permission denied\nPermission denied\n")
        << run.err;
}

TEST(RpcdJobs, KeepTheLastSixteenResults)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
first=$(call mode | id_of); ended $first >/dev/null
for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18; do
    printf 'done %s\n{}' $(cut -d. -f1 /proc/uptime) >/tmp/modem.jobs/$(printf '%032x' $i)
done
printf 'done 1\n{}' >/tmp/modem.jobs/ffffffffffffffffffffffffffffffff
id=$(call mode | id_of); job ffffffffffffffffffffffffffffffff | cut -c 1-20
ls /tmp/modem.jobs | grep -vc -e lock -e $id)sh");
    EXPECT_EQ(run.out, "{\"error\":\"not-found\"\n16\n") << run.err;
}

TEST(RpcdSettings, AreWrittenAllOrNone)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=3g; uci commit network
sum() { cat /etc/config/* | md5sum; }
before=$(sum)
for values in '{"interval":30,"apn":"x;reboot"}' '{"apn":"a b"}' '{"apn":"a","interval":0}' '{"pincode":"12"}' \
    '{"pincode":"1234;x"}' '{"auth":"FOO"}' '{"ip":"ipv5"}' '{"auto":"yes"}' '{"nothing":1}' '{"apn":["x"]}' \
    '{"apn":{"x":1}}' '{"apn":1.5}' '{"apn":null}' '{"target":"name.example"}' '{"apn":"a\u0000b"}' \
    '{"username":"u\nv"}' '{"led":"../../x"}'; do
    call set "{\"values\":$values}" | sed 's/.*"option"/option/'
done
[ "$before" = "$(sum)" ] && echo unchanged
call set '{"values":{"apn":"in.ternet","username":"me","password":"secret77","auth":"PAP","pincode":"1234","ip":"ipv4v6",
    "interval":60,"roaming":"232 262"}}'
for o in apn username password auth pincode pdptype; do uci get network.modem_1_1_2.$o; done
uci get devconf.modem_1_1_2.pdptype; uci get modemctl.1_1_2.interval; uci get modemctl.1_1_2.roaming
call settings | grep -c secret77
call settings | grep -o '"network":{[^}]*}'
call set '{"values":{"auto":true,"interval":""}}'; uci -q get network.modem_1_1_2.apn; uci -q get modemctl.1_1_2.interval
call settings | grep -o '"auto":[a-z]*')sh");
    EXPECT_EQ(run.out, "option:\"apn\"}\noption:\"apn\"}\noption:\"interval\"}\noption:\"pincode\"}\n"
                       "option:\"pincode\"}\noption:\"auth\"}\noption:\"ip\"}\noption:\"auto\"}\n"
                       "option:\"nothing\"}\noption:\"apn\"}\noption:\"apn\"}\noption:\"apn\"}\n"
                       "option:\"apn\"}\noption:\"target\"}\noption:\"apn\"}\noption:\"username\"}\n"
                       "option:\"led\"}\nunchanged\n{\"result\":\"ok\"}\n"
                       "in.ternet\nme\nsecret77\nPAP\n1234\nipv4v6\nipv4v6\n60\n232 262\n0\n"
                       R"("network":{"interface":"modem_1_1_2","proto":"3g","disabled":false,"auto":false,)"
                       R"("apn":"in.ternet","username":"me","password_set":true,"auth":"PAP","pincode_set":true,)"
                       R"("ip":"ipv4v6","roaming":"232 262"})"
                       "\n{\"result\":\"ok\"}\n\"auto\":true\n")
        << run.err;
}

TEST(RpcdMessages, AreThoseOfAllBoxesTheNewestFirst)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
cd /etc/spool/sms; mkdir -p incoming storage outgoing checked sent failed
put() { printf "$2" >$1; touch -d "2026-11-$3 00:00:00" $1; }
put incoming/GMS99.a 'From: 43660123\nFrom_TOA: 91 international\nSent: 26-11-21 01:02:03\n\n<img src=x onerror=alert(1)>' 21
put storage/GMS98.b 'From: Bank\nSent: 26-11-20 01:02:03\n\nread' 20
put outgoing/send.c 'To: 43660\nTo_TOA: international\n\nwaits' 19
put sent/send.d 'To: 43660\n\nwent' 18
put failed/send.e 'To: 43661\nFail_reason: +CMS ERROR: 38\n\nlost' 17
mkfifo incoming/GMS99.fifo; ln -s /etc/config/network incoming/GMS99.link; mkdir incoming/GMS99.folder; echo x >incoming/.hidden
call messages | sed 's/},{/},\n{/g'
call message_read '{"id":"in/GMS99.a"}'; ls storage
for id in in/../../../config/network in/... sent/../sent/send.d in//etc/config/network some/y sent/send.d failed/send.e sent/send.d; do
    call message_delete "{\"id\":\"$id\"}" | cut -c 1-18; done
ls sent failed /etc/config/network
call message_send '{"number":"+43660123","text":"It'\''s $(id) `x`"}'
call message_send '{"number":"22888","text":"STOP"}')sh");
    EXPECT_EQ(
        run.out,
        R"json({"messages":[{"id":"in/GMS99.a","box":"in","number":"43660123","type":"international","text":"<img src=x onerror=alert(1)>","time":"2026-11-21 01:02:03","unread":true,"parts":1},
{"id":"in/GMS98.b","box":"in","number":"Bank","text":"read","time":"2026-11-20 01:02:03","unread":false,"parts":1},
{"id":"out/send.c","box":"out","number":"43660","type":"international","text":"waits","time":"2026-11-19 00:00:00","unread":false,"parts":1},
{"id":"sent/send.d","box":"sent","number":"43660","text":"went","time":"2026-11-18 00:00:00","unread":false,"parts":1},
{"id":"failed/send.e","box":"failed","number":"43661","text":"lost","error":"+CMS ERROR: 38","time":"2026-11-17 00:00:00","unread":false,"parts":1}]}
{"result":"ok"}
GMS98.b
GMS99.a
{"error":"not-foun
{"error":"not-foun
{"error":"not-foun
{"error":"not-foun
{"error":"not-foun
{"result":"ok"}
{"result":"ok"}
{"error":"not-foun
/etc/config/network

failed:

sent:
{"result":"ok","parts":1}
{"result":"ok","parts":1}
)json") << run.err;
    const auto sent = run.journal_of("run", "modemctl");
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], R"(sendsms +43660123 'It'\''s $(id) `x`' international)");
    EXPECT_EQ(sent[1], "sendsms 22888 STOP unknown");
}

// A program that runs wild, here in five processes, costs no more than fifty parts in an hour.
TEST(RpcdMessages, AreSentUpToALimit)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
long=$(head -c 1500 /dev/zero | tr '\0' x)
call message_send "{\"number\":\"+43660123\",\"text\":\"$long\"}"
for i in 1 2 3 4 5; do (for j in 1 2 3 4 5 6 7 8 9 10; do call message_send '{"number":"+43660123","text":"hello"}'; done) & done >/tmp/all
wait; sort /tmp/all | uniq -c | sed 's/^ *//'
call message_send "{\"number\":\"+43660123\",\"text\":\"$long\"}" | cut -c 1-16; stat -c '%a %s' /tmp/modem.jobs/sent
printf '\0\0\0\0\0\0\0\0' >/tmp/modem.jobs/sent; call message_send '{"number":"+43660123","text":"hello"}' | cut -c 1-14
: >/tmp/modem.jobs/sent; call message_send '{"number":"+43660123","text":"hello"}'
rm /tmp/modem.jobs/sent; mkdir /tmp/modem.jobs/sent; call message_send '{"number":"+43660123","text":"hello"}' | cut -c 1-16)sh");
    EXPECT_EQ(run.out, R"({"result":"ok","parts":10}
10 {"error":"limit","message":"at most 50 parts of messages are sent in an hour"}
40 {"result":"ok","parts":1}
{"error":"limit"
600 8
{"result":"ok"
{"result":"ok","parts":1}
{"error":"limit"
)") << run.err;
    EXPECT_EQ(run.journal_of("run", "modemctl").size(), 43U);
}

// ubus carries no more than a megabyte.
TEST(RpcdMessages, AreAsManyAsUbusCanCarry)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
cd /etc/spool/sms/incoming
long=$(head -c 2000 /dev/zero | tr '\0' x)
i=0; while [ $i -lt 600 ]; do printf "From: 43660\n\n$long" >GMS99.$i; i=$((i + 1)); done
call messages >/tmp/all; size=$(wc -c </tmp/all); [ $size -gt 250000 ] && [ $size -lt 262300 ] && echo fits; rm *
i=0; while [ $i -lt 600 ]; do printf "From: 43660\n\nx" >GMS99.$i; i=$((i + 1)); done; call messages | grep -o '"id"' | wc -l)sh");
    EXPECT_EQ(run.out, "fits\n500\n") << run.err;
}

TEST(RpcdConnection, GoesDownAndUpAndTheWatchLeavesItSo)
{
    const RouterRun run = call({"--modem", "EC25", "--link", "setup=100"}, R"sh(
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi
uci set network.modem_1_1_2.device=/dev/cdc-wdm0; uci set network.modem_1_1_2.disabled=1; touch /etc/config/modemctl
uci set modemctl.watch=watch; uci set modemctl.watch.probe=none; uci set modemctl.watch.interval=1; uci commit
ubus call network reload
is() {
    n=0; until call status | grep -q "\"state\":\"$1\",\"since"; do n=$((n + 1)); [ $n -lt 200 ] || break; sleep 0.1; done
    call status | grep -o '"state":"[a-z]*"' | tr '\n' ' '
}
done_by connect; modemctl watch & is online
done_by disconnect; sleep 1; is off; done_by connect; is online; echo
call log | grep -o '"text":"[a-z]* -> [a-z]*' | tr '\n' ';'; echo; call log | grep -c '"time":1[0-9]*,"uptime_s":'
call log '{"lines":1}' | grep -o text | wc -l; kill %1)sh");
    EXPECT_EQ(run.out, "{\"state\":\"done\",\"status\":0,\"result\":{\"up\":true}}\n"
                       "\"state\":\"online\" \"state\":\"up\" "
                       "{\"state\":\"done\",\"status\":0,\"result\":{\"up\":false}}\n"
                       "\"state\":\"off\" \"state\":\"down\" "
                       "{\"state\":\"done\",\"status\":0,\"result\":{\"up\":true}}\n"
                       "\"state\":\"online\" \"state\":\"up\" \n"
                       "\"text\":\"off -> starting;\"text\":\"starting -> online;\"text\":\"online -> suspect;"
                       "\"text\":\"suspect -> off;\"text\":\"off -> starting;\"text\":\"starting -> online;\n1\n1\n")
        << run.err;
}

TEST(RpcdSettings, OfAnApnHaveThePasswordThatEverybodyCanRead)
{
    const RouterRun run =
        call({"--modem", "EC25", "--put-text", "/usr/share/modem/apns=23203\tlisted\tguest\tpublic"}, R"sh(
uci set network.modem_1_1_2=interface; for o in proto=3g device=/dev/ttyUSB3 apn=own username=me password=secret77; do
    uci set network.modem_1_1_2.$o; done; uci commit
done_by apn | grep -o -e '"apn":"[^"]*"' -e '"[a-z_]*password[^,}]*')sh");
    EXPECT_EQ(run.out, "\"apn\":\"own\"\n\"password_set\":true\n\"apn\":\"listed\"\n\"password_set\":true\n"
                       "\"listed_password\":\"public\"\n\"apn\":\"\"\n\"password_set\":false\n");
}

// The settings of the LAN may have such a name too.
TEST(RpcdStatus, TakesOnlyACompanionsAddressesForTheInterfaces)
{
    const auto addresses = [](const std::string &device) {
        return call({"--modem", "EC25", "--link", "modem_1_1_2,setup=100"},
                    R"sh(
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci set network.modem_1_1_2.device=/dev/cdc-wdm0
uci set network.modem_1_1_2_4=interface; uci set network.modem_1_1_2_4.proto=static; uci set network.modem_1_1_2_4.ipaddr=192.168.77.1
uci set network.modem_1_1_2_4.netmask=255.255.255.0; uci set network.modem_1_1_2_4.device=)sh" +
                        device +
                        R"sh(; uci commit; ubus call network reload
n=0; until ifstatus modem_1_1_2 | grep -q '"up": true'; do n=$((n + 1)); [ $n -lt 100 ] || break; sleep 0.1; done
call status | grep -o '"ipv4":[^]]*]')sh")
            .out;
    };
    EXPECT_EQ(addresses("br-lan"), "\"ipv4\":[\"10.64.1.2/30\"]\n");
    EXPECT_EQ(addresses("wwan0"), "\"ipv4\":[\"192.168.77.1/24\"]\n");
}

TEST(RpcdUsage, TellsTheCardInTheModemFromThoseOfOtherModems)
{
    const RouterRun run = call({"--modem", "EC25"}, R"sh(
printf '%s\n' '89430300001234567890 202611 5000 2000' '89430300009999999999 202611 900000 2000' >/etc/modemctl.usage
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci commit
month=$(date +%Y-%m); usage() { call usage | sed "s/,\"month\":\"$month\"}$/,now}/"; }
usage; modemctl watch --once; usage)sh");
    const std::string limit = R"(,"limit_mb":0,now})";
    const auto list = [](const std::string &first, const std::string &second) {
        return R"({"usage":[{"month":"2026-11","rx_bytes":5000,"tx_bytes":2000,"sim":"7890")" + first +
               R"(},{"month":"2026-11","rx_bytes":900000,"tx_bytes":2000,"sim":"9999")" + second + "}]";
    };
    EXPECT_EQ(run.out, list("", "") + limit + "\n" + list(R"(,"present":true)", R"(,"present":false)") + limit + "\n");
}

// Who presses "Connect" while the interface is up has changed a setting, or has a session that is dead.
TEST(RpcdConnection, ConnectsAnewWhatIsUp)
{
    const RouterRun run = call({"--modem", "EC25", "--link", "setup=100,apn=new"}, R"sh(
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci set network.modem_1_1_2.apn=new
uci set network.modem_1_1_2.device=/dev/cdc-wdm0; uci commit; ubus call network reload; done_by connect
call set '{"values":{"apn":"wrong"}}'; call connect >/dev/null
n=0; until ifstatus modem_1_1_2 | grep '"pending": true'; do n=$((n + 1)); [ $n -lt 200 ] || break; sleep 0.1; done)sh");
    EXPECT_EQ(run.out, "{\"state\":\"done\",\"status\":0,\"result\":{\"up\":true}}\n"
                       "{\"result\":\"ok\"}\n\t\"pending\": true,\n")
        << run.err;
}

} // namespace rpcd_test
