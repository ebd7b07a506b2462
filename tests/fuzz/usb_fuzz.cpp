// What a host may send to a simulated modem of the kernel, by the word in front of it: messages of QMI and MBIM, the
// transfers of the USB device, blocks of datagrams, Ethernet frames, questions to the name server and orders to open a
// line.

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <sys/socket.h>

#include "simulator/modem/profile.h"
#include "simulator/modem/profiles_folder.h"
#include "simulator/usb/ethernet_port.h"
#include "simulator/usb/mbim_modem.h"
#include "simulator/usb/modem_gadget.h"
#include "simulator/usb/ntb.h"
#include "simulator/usb/operator_server.h"
#include "simulator/usb/qmi_modem.h"
#include "tests/fuzz/check.h"

namespace {

using namespace simulator;

/// The AT commands that stand for messages. A whole profile would take most of the time.
const Profile &profile()
{
    static const Profile parsed = parse_profile("fuzz.modem", R"(model Fuzz
usb 1234:5678
interface 0 ttyUSB at
interface 1 cdc-wdm netdev wwan0
var cmee 0
var echo 0
var pin READY|SIM PIN|SIM PUK|NOSIM|FAILURE
var pin_tries 3
var puk_tries 10
var cfun 1
var rat LTE|WCDMA|GSM|NOSERVICE
var ps_registration 1|0|2|3|5
var attached 1|0
var imei 490154203237518
var imsi 232031234567890
var iccid 89430301234567890123
var operator_0 T-Mobile A
var operator_1 TMA
var operator_2 23203
var csq_LTE 25
var csq_WCDMA 15
var csq_GSM 10
var band_lte 0x80084
var sms_memory SM|ME
var sms_pdu_1 0791
var pdp_1 IP
var apn_1 internet
var nwscanmode 0

> AT+QCSQ
@ when rat LTE

+QCSQ: "LTE",51,-86,118,-11

OK

> AT+CFUN=<n:0|1|4>
@ set cfun $n

OK

> AT+CFUN=1,1
@ detach 300 8000

OK

> AT+CGATT=<n:0|1>
@ set attached $n

OK

> AT+CGDCONT=<cid:1-16>
@ set pdp_$cid

OK

> AT+QCFG="nwscanmode",<n:0-3>,1
@ set nwscanmode $n

OK

> AT+CPIN="1234"
@ set pin READY

OK

> AT+CPIN=<entered*>
@ add pin_tries -1

ERROR
)",
                                                [](const std::string &) { return std::string(); });
    return parsed;
}

/// The first byte of input, which is removed; 0 at its end.
uint8_t take_byte(std::string_view &input)
{
    const auto byte = static_cast<uint8_t>(input.empty() ? 0 : input[0]);
    input.remove_prefix(std::min<size_t>(input.size(), 1));
    return byte;
}

std::string_view take_bytes(std::string_view &input, size_t count)
{
    const std::string_view bytes = input.substr(0, count);
    input.remove_prefix(bytes.size());
    return bytes;
}

/// A line that is opened and closed. Only an open one is closed, and an order comes through as it was given.
class Line {
  public:
    void open(const LineOrder &order)
    {
        const LineOrder arrived = parse_line_order(line_order_text(order));
        check(arrived.framing == order.framing && arrived.credentials.path == order.credentials.path &&
                  arrived.credentials.apn == order.credentials.apn &&
                  arrived.credentials.user == order.credentials.user &&
                  arrived.credentials.password == order.credentials.password,
              "an order arrives as it was given");
        is_open_ = true;
    }
    void close()
    {
        check(is_open_, "only an open line is closed");
        is_open_ = false;
    }
    bool is_open() const { return is_open_; }

  private:
    bool is_open_ = false;
};

/// Something that happens to the modem while its host talks.
void change(Modem &modem, uint8_t what)
{
    constexpr std::array<std::pair<const char *, const char *>, 12> changes = {{{"pin", "SIM PIN"},
                                                                                {"pin", "READY"},
                                                                                {"pin", "NOSIM"},
                                                                                {"rat", "GSM"},
                                                                                {"rat", "WCDMA"},
                                                                                {"rat", "NOSERVICE"},
                                                                                {"rat", "LTE"},
                                                                                {"ps_registration", "5"},
                                                                                {"ps_registration", "2"},
                                                                                {"sms_pdu_2", "079100"},
                                                                                {"sms_memory", "ME"},
                                                                                {"band_lte", "rubbish"}}};
    const auto &[name, value] = changes[what % changes.size()];
    modem.set_variable(name, value);
}

void check_contexts(const Modem &modem)
{
    for (int i = 1; i <= 16; i++)
        for (const char *name : {"apn_", "user_", "password_", "pdp_"})
            check(std::ranges::none_of(modem.variable(name + std::to_string(i)),
                                       [](char c) { return c < ' ' || c > '~' || c == '"'; }),
                  "a context is plain text");
}

constexpr uint8_t change_mark = 0xff;
constexpr size_t most_tries = 32;

/// A byte each for service, client, message and length of the values, which follow. In service 255 it is a change.
void try_qmi(std::string_view input, bool is_raw)
{
    Modem modem(profile(), {});
    Line line;
    QmiRequest asked;
    size_t answers = 0;
    QmiModem qmi(modem, {.apn = "internet", .password = "p"}, 1,
                 {.send =
                      [&](std::string_view text) {
                          const auto sent = parse_qmi_request(text);
                          check(sent && text.size() <= 65536, "a message has the form of a message");
                          if (!sent->values.contains(2) || sent->value(2).size() != 4 ||
                              sent->message != asked.message || sent->transaction != asked.transaction)
                              return; // it comes unasked
                          answers++;
                          check(sent->service == asked.service && sent->client == asked.client, "an answer goes back");
                      },
                  .open_line = [&](const LineOrder &order) { line.open(order); },
                  .close_line = [&] { line.close(); }});
    for (const uint8_t service : {qmi_data, qmi_device, qmi_network, qmi_messages, qmi_card, qmi_framing})
        qmi.receive('\1' + little_endian(15, 2) + std::string{0, 0, 0, 0, 1} + little_endian(0x22, 2) +
                        little_endian(4, 2) + qmi_number(1, service, 1),
                    0);
    const auto say = [&](const std::string &text) {
        const auto request = parse_qmi_request(text);
        asked = request.value_or(QmiRequest{.message = 0xffff});
        answers = 0;
        qmi.receive(text, 0);
        check(answers == (request ? 1 : 0), "a request has one answer, and nothing else has");
    };
    if (is_raw)
        say(std::string(input));
    for (size_t i = 0; !is_raw && !input.empty() && i < most_tries; i++) {
        const uint8_t service = take_byte(input);
        const uint8_t client = take_byte(input);
        if (service == change_mark) {
            change(modem, client);
            qmi.look(0);
            continue;
        }
        const uint8_t message = take_byte(input);
        const std::string values{take_bytes(input, take_byte(input))};
        const std::string inner = std::string(1, '\0') + little_endian(100, service == 0 ? 1 : 2) +
                                  little_endian(message, 2) + little_endian(static_cast<uint32_t>(values.size()), 2) +
                                  values;
        say('\1' + little_endian(static_cast<uint32_t>(5 + inner.size()), 2) +
            std::string{0, static_cast<char>(service), static_cast<char>(client)} + inner);
        check(line.is_open() == !qmi.calls().empty(), "a line is open for a call");
    }
    qmi.forget();
    check(!line.is_open(), "a modem that has gone has no line");
    check_contexts(modem);
}

/// A byte each for the type, the command, query or set, and length of the information, which follows. Of type 255 it
/// is a change.
void try_mbim(std::string_view input, bool is_raw)
{
    Modem modem(profile(), {});
    Line line;
    size_t answers = 0;
    MbimModem mbim(modem, {.apn = "internet", .password = "p"}, 1,
                   {.send =
                        [&](std::string_view text) {
                            check(text.size() >= 16 && little_endian_at(text, 4, 4) == text.size(),
                                  "a message has its length");
                            answers += little_endian_at(text, 0, 4) == mbim_indication ? 0 : 1;
                        },
                    .open_line = [&](const LineOrder &order) { line.open(order); },
                    .close_line = [&] { line.close(); }});
    const auto say = [&](const std::string &text) {
        answers = 0;
        mbim.receive(text, 0);
        check(answers == 1, "a message has one answer");
        check(line.is_open() == mbim.is_connected(), "a line is open for a connection");
    };
    const auto message = [](uint32_t type, const std::string &content) {
        return little_endian(type, 4) + little_endian(static_cast<uint32_t>(12 + content.size()), 4) +
               little_endian(9, 4) + content;
    };
    say(message(mbim_open, little_endian(4096, 4)));
    if (is_raw)
        say(std::string(input));
    for (size_t i = 0; !is_raw && !input.empty() && i < most_tries; i++) {
        const uint8_t type = take_byte(input);
        const uint8_t command = take_byte(input);
        if (type == change_mark) {
            change(modem, command);
            mbim.look();
            continue;
        }
        const uint8_t is_set = take_byte(input);
        const std::string info{take_bytes(input, take_byte(input))};
        say(message(type, little_endian(1, 4) + little_endian(0, 4) + std::string(mbim_basic_connect) +
                              little_endian(command, 4) + little_endian(is_set, 4) +
                              little_endian(static_cast<uint32_t>(info.size()), 4) + info));
    }
    mbim.forget();
    check(!line.is_open(), "a modem that has gone has no line");
    check_contexts(modem);
}

std::string big_endian(uint32_t number)
{
    const std::string reversed = little_endian(number, 4);
    return {reversed.rbegin(), reversed.rend()};
}

/// Transfers as the kernel submits them, and which of them, by their numbers from 1, have bytes for the host.
struct Transfers {
    std::string text;
    std::map<uint32_t, size_t> to_host; ///< how many bytes they take
};

/// A byte each for the flags (to the host, cancel), the endpoint and the length; the setup's eight bytes; then what is
/// sent.
Transfers transfers(std::string_view input)
{
    Transfers made;
    for (uint32_t number = 1; !input.empty() && number <= most_tries; number++) {
        const uint8_t flags = take_byte(input);
        const uint8_t endpoint = take_byte(input);
        const uint8_t length = take_byte(input);
        const bool is_to_host = (flags & 1) != 0;
        const bool is_cancel = (flags & 2) != 0;
        std::string setup{take_bytes(input, 8)};
        setup.resize(8);
        // The kernel takes the direction from there.
        setup[0] = static_cast<char>((setup[0] & 0x7f) | (is_to_host ? 0x80 : 0));
        if (is_to_host)
            made.to_host[number] = length;
        made.text += big_endian(is_cancel ? 2 : 1) + big_endian(number) + big_endian(0) +
                     big_endian(is_to_host ? 1 : 0) + big_endian(endpoint) + big_endian(is_cancel ? number - 1 : 0) +
                     big_endian(length) + std::string(12, '\0') + setup;
        if (!is_cancel && !is_to_host) {
            std::string bytes{take_bytes(input, length)};
            bytes.resize(length);
            made.text += bytes;
        }
    }
    return made;
}

void check_replies(std::string_view replies, const std::map<uint32_t, size_t> &to_host)
{
    constexpr size_t head_bytes = 48;
    std::set<uint32_t> answered;
    const auto number_at = [&](size_t at) {
        uint32_t value = 0;
        for (size_t i = 0; i < 4; i++)
            value = value << 8 | static_cast<uint8_t>(replies[at + i]);
        return value;
    };
    while (!replies.empty()) {
        check(replies.size() >= head_bytes, "a reply has a head");
        const uint32_t kind = number_at(0);
        const uint32_t number = number_at(4);
        const auto taker = to_host.find(number);
        const size_t bytes = kind == 3 && taker != to_host.end() ? number_at(24) : 0;
        check(kind == 3 || kind == 4, "it is a reply");
        check(answered.insert(number).second, "a transfer has one reply");
        check(bytes == 0 || bytes <= taker->second, "it brings what the transfer takes at most");
        check(replies.size() >= head_bytes + bytes, "its bytes follow");
        replies.remove_prefix(head_bytes + bytes);
    }
}

void try_transfers(std::string_view input)
{
    static const ModemLayout layout = modem_layout(load_profile(find_profiles({}), "EM9190"));
    const Transfers made = transfers(input);
    EventLoop loop;
    ModemGadget *own = nullptr;
    ModemGadget gadget(loop, 0, layout,
                       {.received = [&](int interface, std::string_view text) { own->send_to_host(interface, text); },
                        .frame = [&](int interface, std::string_view frame) { own->send_frame(interface, frame); },
                        .room = [](int) {},
                        .dtr_lost = [&](int interface) { own->forget_bytes(interface); }});
    own = &gadget;
    std::array<int, 2> ends;
    check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) == 0, "there are sockets");
    const Fd kernel(ends[0]);
    gadget.serve(Fd(ends[1]));
    check(send(kernel.get(), made.text.data(), made.text.size(), 0) == static_cast<ssize_t>(made.text.size()),
          "it has room");
    loop.run_once(0);
    gadget.lose_transfers();
    std::array<char, 65536> buffer;
    std::string replies;
    for (ssize_t count = 0; (count = recv(kernel.get(), buffer.data(), buffer.size(), 0)) > 0;)
        replies.append(buffer.data(), static_cast<size_t>(count));
    check_replies(replies, made.to_host);
}

void try_blocks(std::string_view block)
{
    for (const NtbContent content : {NtbContent::ethernet, NtbContent::packets}) {
        const std::vector<std::string_view> datagrams = datagrams_of(block, content);
        size_t bytes = 0;
        for (const std::string_view datagram : datagrams) {
            check(!datagram.empty() && datagram.data() >= block.data() &&
                      datagram.data() + datagram.size() <= block.data() + block.size(),
                  "a datagram is a part of its block");
            bytes += datagram.size() + 8;
        }
        if (bytes < most_ntb_bytes)
            check(datagrams_of(ntb_of(datagrams, content, 1), content) == datagrams, "a block brings its datagrams");
    }
}

/// Frames of a byte's length.
void try_frames(std::string_view input)
{
    EthernetPort port;
    port.set_session(session_of(1));
    while (!input.empty()) {
        const std::string_view frame = take_bytes(input, take_byte(input) * 2U);
        const EthernetPort::Taken taken = port.take(frame);
        check(taken.answer.empty() || taken.packet.empty(), "a frame is answered or passed on");
        check(taken.answer.empty() || taken.answer.substr(1, 5) == frame.substr(7, 5), "an answer goes to the host");
        check(taken.packet.empty() || frame.ends_with(taken.packet), "a packet is the end of its frame");
        check(port.frame_of(taken.packet).size() == taken.packet.size() + 14, "a packet goes into a frame");
    }
}

void try_name(std::string_view question)
{
    const std::string answer = answer_name_question(question);
    check(answer.empty() || (answer.substr(0, 2) == question.substr(0, 2) && (answer[2] & '\x80') != 0 &&
                             answer.size() <= question.size() + 28),
          "an answer is the question's");
}

void try_order(std::string_view text)
{
    const LineOrder order = parse_line_order(text);
    check(line_order_text(parse_line_order(line_order_text(order))) == line_order_text(order),
          "an order stays as it is");
}

struct Form {
    std::string_view word;
    void (*try_input)(std::string_view input);
};
constexpr std::array<Form, 9> forms = {{{"qmi", [](std::string_view input) { try_qmi(input, false); }},
                                        {"qmi-raw", [](std::string_view input) { try_qmi(input, true); }},
                                        {"mbim", [](std::string_view input) { try_mbim(input, false); }},
                                        {"mbim-raw", [](std::string_view input) { try_mbim(input, true); }},
                                        {"transfers", try_transfers},
                                        {"block", try_blocks},
                                        {"frames", try_frames},
                                        {"name", try_name},
                                        {"order", try_order}}};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view input{reinterpret_cast<const char *>(data), size};
    const std::string_view word = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(input.size(), word.size() + 1));
    for (const Form &form : forms)
        if (form.word == word)
            form.try_input(input);
    return 0;
}
