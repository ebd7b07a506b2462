#include "simulator/usb/mbim_modem.h"

#include <array>

namespace simulator {

namespace {

/// What a host hears of unasked: card, registration, packet service, signal, connection.
constexpr std::array<uint32_t, 5> told_commands = {2, 9, 10, 11, 12};

} // namespace

MbimModem::MbimModem(Modem &modem, LinkDemand demand, int number, Host host)
    : modem_(modem), demand_(std::move(demand)), number_(number), host_(std::move(host))
{
}

void MbimModem::receive(std::string_view message, Milliseconds now)
{
    now_ = now;
    const MbimRead read = read_mbim_request(message);
    const MbimRequest &request = read.request;
    if (read.error)
        return host_.send(mbim_result(mbim_function_error, request.transaction, *read.error));
    if (request.type == mbim_open) {
        // Opened again, everything begins anew.
        disconnect();
        is_open_ = true;
        start_telling();
        return host_.send(mbim_result(mbim_open_done, request.transaction, mbim_ok));
    }
    // It may be closed already: a client that is told of an error closes it, and would be told of one again and again.
    if (request.type == mbim_close) {
        forget();
        return host_.send(mbim_result(mbim_close_done, request.transaction, mbim_ok));
    }
    if (!is_open_)
        return host_.send(mbim_result(mbim_function_error, request.transaction, mbim_not_opened));
    Answer answer{.status = mbim_no_support};
    if (request.service == mbim_basic_connect)
        answer = answer_mbim_command(*this, request);
    // What an answer says is no news. A client that is closed after each answer would leave the news to the next one,
    // which the driver would give it together with its own answer.
    if (const auto told = told_.find(request.cid); told != told_.end() && !answer.info.empty())
        told->second = answer.info;
    host_.send(mbim_done(request, answer.status, answer.info));
}

void MbimModem::start_telling()
{
    for (const uint32_t cid : told_commands)
        told_[cid] = answer_mbim_command(*this, {.cid = cid}).info;
}

void MbimModem::look()
{
    if (!is_open_)
        return;
    if (!has_packet_service(*this))
        disconnect();
    for (const uint32_t cid : told_commands) {
        std::string info = answer_mbim_command(*this, {.cid = cid}).info;
        if (info == told_[cid])
            continue;
        host_.send(mbim_indicate(cid, info));
        told_[cid] = std::move(info);
    }
}

void MbimModem::forget()
{
    disconnect();
    is_open_ = false;
}

void MbimModem::connect(const Credentials &credentials)
{
    is_connected_ = true;
    host_.open_line({.framing = Framing::raw_ip, .credentials = credentials});
}

void MbimModem::disconnect()
{
    if (is_connected_)
        host_.close_line();
    is_connected_ = false;
}

} // namespace simulator
