#include "simulator/usb/mbim_message.h"

#include "simulator/usb/bytes.h"

namespace simulator {

namespace {

constexpr size_t head_bytes = 12;     // type, length, transaction
constexpr size_t fragment_bytes = 20; // ... how many fragments and which
constexpr size_t command_bytes = 48;  // ... how many fragments and which, service, number, query or set, length
constexpr size_t alignment = 4;
constexpr char no_ascii = '?';
constexpr char first_ascii = ' ';
constexpr char last_ascii = '~';

uint32_t number_at(std::string_view bytes, size_t at)
{
    return little_endian_at(bytes, at, 4);
}

std::string number_text(size_t number)
{
    return little_endian(static_cast<uint32_t>(number), 4);
}

std::string message(uint32_t type, uint32_t transaction, const std::string &content)
{
    return number_text(type) + number_text(head_bytes + content.size()) + number_text(transaction) + content;
}

std::string fragment(std::string_view service, uint32_t cid)
{
    return number_text(1) + number_text(0) + std::string(service) + number_text(cid);
}

} // namespace

uint32_t MbimRequest::number(size_t at) const
{
    return at + 4 <= info.size() ? number_at(info, at) : 0;
}

std::string MbimRequest::text(size_t at) const
{
    const size_t start = number(at);
    const size_t length = number(at + 4);
    if (start > info.size() || length > info.size() - start)
        return {};
    std::string text;
    for (size_t i = start; i + 1 < start + length; i += 2)
        text += info[i + 1] == 0 && info[i] >= first_ascii && info[i] <= last_ascii ? info[i] : no_ascii;
    return text;
}

MbimRead read_mbim_request(std::string_view text)
{
    MbimRead read;
    MbimRequest &request = read.request;
    if (text.size() < head_bytes || number_at(text, 4) != text.size()) {
        read.error = mbim_length;
        return read;
    }
    request.type = number_at(text, 0);
    request.transaction = number_at(text, 8);
    if (request.type == mbim_open || request.type == mbim_close)
        return read;
    if (request.type != mbim_command)
        read.error = mbim_unknown;
    else if (text.size() < fragment_bytes)
        read.error = mbim_length;
    else if (number_at(text, head_bytes) != 1 || number_at(text, head_bytes + 4) != 0)
        read.error = mbim_fragment; // the longest message takes all that there is
    else if (text.size() < command_bytes || number_at(text, command_bytes - 4) != text.size() - command_bytes)
        read.error = mbim_length;
    if (read.error)
        return read;
    request.service = text.substr(20, 16);
    request.cid = number_at(text, 36);
    request.is_set = number_at(text, 40) != 0;
    request.info = text.substr(command_bytes);
    return read;
}

MbimInfo &MbimInfo::number(uint32_t value)
{
    fixed_ += number_text(value);
    return *this;
}

MbimInfo &MbimInfo::bytes(std::string_view bytes)
{
    fixed_ += bytes;
    return *this;
}

MbimInfo &MbimInfo::text(std::string_view text)
{
    std::string coded;
    for (const char character : text)
        coded += {character, '\0'};
    return part(coded);
}

MbimInfo &MbimInfo::part(std::string_view part)
{
    place(part);
    return number(static_cast<uint32_t>(part.size()));
}

MbimInfo &MbimInfo::place(std::string_view part)
{
    parts_.push_back({fixed_.size(), std::string(part)});
    return number(0);
}

std::string MbimInfo::done() const
{
    std::string info = fixed_;
    for (const Part &part : parts_) {
        if (part.bytes.empty())
            continue;
        info.replace(part.at, 4, number_text(info.size()));
        info += part.bytes;
        info.resize((info.size() + alignment - 1) / alignment * alignment);
    }
    return info;
}

std::string mbim_result(uint32_t type, uint32_t transaction, uint32_t result)
{
    return message(type, transaction, number_text(result));
}

std::string mbim_done(const MbimRequest &request, MbimStatus status, std::string_view info)
{
    return message(mbim_command_done, request.transaction,
                   fragment(request.service, request.cid) + number_text(status) + number_text(info.size()) +
                       std::string(info));
}

std::string mbim_indicate(uint32_t cid, std::string_view info)
{
    return message(mbim_indication, 0,
                   fragment(mbim_basic_connect, cid) + number_text(info.size()) + std::string(info));
}

} // namespace simulator
