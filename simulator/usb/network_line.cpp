#include "simulator/usb/network_line.h"

#include <array>

namespace simulator {

std::string line_order_text(const LineOrder &order)
{
    const Credentials &credentials = order.credentials;
    std::string text{static_cast<char>(order.framing), static_cast<char>(credentials.path)};
    for (const std::string *word :
         {&credentials.apn, &credentials.user, &credentials.password, &credentials.context_apn})
        text += *word + '\0';
    return text;
}

LineOrder parse_line_order(std::string_view text)
{
    LineOrder order;
    if (text.size() < 2)
        return order;
    order.framing = static_cast<Framing>(text[0]);
    Credentials &credentials = order.credentials;
    credentials.path = static_cast<LinkDemand::Path>(text[1]);
    text.remove_prefix(2);
    for (std::string *word : {&credentials.apn, &credentials.user, &credentials.password, &credentials.context_apn}) {
        *word = text.substr(0, text.find('\0'));
        text.remove_prefix(std::min(text.size(), word->size() + 1));
    }
    return order;
}

bool NetworkLine::open(const LineOrder &order)
{
    const auto session = uplink_.open(order.credentials, [this](std::string_view packet) { on_packet(packet); });
    framing_ = order.framing;
    port_.set_session(session);
    return session.has_value();
}

void NetworkLine::close()
{
    uplink_.close();
    port_.set_session(std::nullopt);
}

void NetworkLine::on_frame(std::string_view frame)
{
    if (framing_ == Framing::raw_ip)
        return uplink_.send(frame);
    const EthernetPort::Taken taken = port_.take(frame);
    if (!taken.answer.empty())
        host_.send(taken.answer);
    if (!taken.packet.empty())
        uplink_.send(taken.packet);
}

void NetworkLine::on_packet(std::string_view packet)
{
    if (framing_ == Framing::raw_ip)
        host_.send(packet);
    else
        host_.send(port_.frame_of(packet));
    uplink_.hold(!host_.has_room());
}

} // namespace simulator
