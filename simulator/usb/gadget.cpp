#include "simulator/usb/gadget.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace simulator {

namespace {

constexpr const char *attach_file = "/sys/devices/platform/vhci_hcd.0/attach";
constexpr int high_speed = 3;
constexpr size_t header_bytes = 48;
constexpr size_t most_kept = 64 * 1024;

// Kinds of messages.
constexpr uint32_t submit = 1;
constexpr uint32_t unlink_transfer = 2;
constexpr uint32_t submitted = 3;
constexpr uint32_t unlinked = 4;

// Requests that every device answers.
constexpr uint8_t to_host = 0x80;
constexpr uint8_t receiver_mask = 0x7f; // and the kind, which is 0 for these
enum StandardRequest : uint8_t {
    get_status = 0,
    clear_feature = 1,
    set_feature = 3,
    set_address = 5,
    get_descriptor = 6,
    set_configuration = 9,
    set_interface = 11
};
enum DescriptorKind : uint8_t { device_descriptor = 1, configuration_descriptor = 2, text_descriptor = 3 };

/// A message's numbers are in the network's order.
uint32_t number_at(std::string_view message, size_t at)
{
    uint32_t number = 0;
    for (size_t i = 0; i < 4; i++)
        number = number << 8 | static_cast<uint8_t>(message[at + i]);
    return number;
}

void append_number(std::string &message, uint32_t number)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        message += static_cast<char>(number >> shift);
}

uint16_t little_at(std::string_view bytes, size_t at)
{
    return static_cast<uint16_t>(little_endian_at(bytes, at, 2));
}

/// UTF-16; the texts are ASCII.
std::string coded_text(std::string_view text)
{
    std::string coded{static_cast<char>(2 + 2 * text.size()), static_cast<char>(text_descriptor)};
    for (const char character : text)
        coded += {character, '\0'};
    return coded;
}

} // namespace

std::string endpoint_descriptor(uint8_t address, uint8_t kind, uint16_t packet_bytes, uint8_t interval)
{
    return std::string{7, 5, static_cast<char>(address), static_cast<char>(kind)} + little_endian(packet_bytes, 2) +
           static_cast<char>(interval);
}

UsbGadget::UsbGadget(EventLoop &loop, unsigned port, Descriptors descriptors)
    : loop_(loop), port_(port), descriptors_(std::move(descriptors))
{
}

UsbGadget::~UsbGadget()
{
    drop();
}

bool UsbGadget::attach()
{
    std::array<int, 2> ends;
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "socketpair");
    Fd own(ends[0]);
    const Fd kernels(ends[1]);
    const Fd file(open(attach_file, O_WRONLY | O_CLOEXEC));
    // Any number names the device, as long as no two are the same.
    const std::string order = std::to_string(port_) + ' ' + std::to_string(kernels.get()) + ' ' +
                              std::to_string(0x10002 + port_) + ' ' + std::to_string(high_speed);
    if (!file)
        throw std::system_error(errno, std::generic_category(), attach_file);
    if (write(file.get(), order.data(), order.size()) < 0)
        return false;
    serve(std::move(own));
    return true;
}

void UsbGadget::serve(Fd socket)
{
    socket_ = std::move(socket);
    input_.clear();
    loop_.watch(socket_.get(), EPOLLIN, [this](uint32_t) { on_ready(); });
}

void UsbGadget::drop()
{
    if (socket_)
        loop_.unwatch(socket_.get());
    socket_ = Fd();
    waiting_.clear();
    kept_.clear();
    stuck_.clear();
}

void UsbGadget::lose_transfers()
{
    for (const auto *transfers : {&waiting_, &stuck_})
        for (const auto &[endpoint, queue] : *transfers)
            for (const Transfer &transfer : queue)
                reply(submitted, transfer.number, -EPROTO, 0, {});
    waiting_.clear();
    stuck_.clear();
    kept_.clear();
}

void UsbGadget::send(int endpoint, std::string_view bytes)
{
    if (kept_bytes(endpoint) + bytes.size() > most_kept)
        return;
    kept_[endpoint].emplace_back(bytes);
    flush(endpoint);
}

size_t UsbGadget::kept_bytes(int endpoint) const
{
    size_t bytes = 0;
    if (const auto kept = kept_.find(endpoint); kept != kept_.end())
        for (const std::string &piece : kept->second)
            bytes += piece.size();
    return bytes;
}

void UsbGadget::set_taking(int endpoint, bool taking)
{
    if (!taking) {
        not_taking_.insert(endpoint);
        return;
    }
    not_taking_.erase(endpoint);
    const std::deque<Transfer> transfers = std::move(stuck_[endpoint]);
    stuck_.erase(endpoint);
    for (const Transfer &transfer : transfers) {
        reply(submitted, transfer.number, 0, transfer.bytes.size(), {});
        on_bytes(endpoint, transfer.bytes);
    }
}

void UsbGadget::on_waiting(int) {}

void UsbGadget::on_ready()
{
    std::array<char, 65536> buffer;
    const ssize_t count = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0)
        return drop(); // the kernel has closed the port
    input_.append(buffer.data(), static_cast<size_t>(count));
    while (socket_ && take_message()) {
    }
}

/// @return false until a whole one is there
bool UsbGadget::take_message()
{
    // kind, number, device, direction, endpoint, flags (or the transfer to unlink), length, ..., setup
    if (input_.size() < header_bytes)
        return false;
    const std::string head = input_.substr(0, header_bytes);
    const uint32_t kind = number_at(head, 0);
    const uint32_t number = number_at(head, 4);
    if (kind == unlink_transfer) {
        input_.erase(0, header_bytes);
        cancel(number, number_at(head, 20));
        return true;
    }
    if (kind != submit) {
        drop(); // where the next message begins cannot be known
        return false;
    }
    const bool is_to_host = number_at(head, 12) != 0;
    const size_t length = number_at(head, 24);
    const size_t body = is_to_host ? 0 : length;
    if (input_.size() < header_bytes + body)
        return false;
    const Transfer transfer{number, length, input_.substr(header_bytes, body)};
    input_.erase(0, header_bytes + body);
    take_transfer(transfer, is_to_host, static_cast<int>(number_at(head, 16)), std::string_view(head).substr(40, 8));
    return true;
}

void UsbGadget::take_transfer(const Transfer &transfer, bool is_to_host, int endpoint, std::string_view setup)
{
    if (endpoint == 0) {
        answer_request(transfer, setup);
    } else if (is_to_host) {
        waiting_[endpoint].push_back(transfer);
        flush(endpoint);
        on_waiting(endpoint);
    } else if (not_taking_.contains(endpoint)) {
        stuck_[endpoint].push_back(transfer);
    } else {
        reply(submitted, transfer.number, 0, transfer.bytes.size(), {});
        on_bytes(endpoint, transfer.bytes);
    }
}

void UsbGadget::cancel(uint32_t number, uint32_t target)
{
    bool found = false;
    for (auto *transfers : {&waiting_, &stuck_})
        for (auto &[endpoint, queue] : *transfers)
            found =
                std::erase_if(queue, [&](const Transfer &transfer) { return transfer.number == target; }) > 0 || found;
    // 0: its own answer is on the way already.
    reply(unlinked, number, found ? -ECONNRESET : 0, 0, {});
}

void UsbGadget::answer_request(const Transfer &transfer, std::string_view setup)
{
    const UsbRequest request{static_cast<uint8_t>(setup[0]), static_cast<uint8_t>(setup[1]), little_at(setup, 2),
                             little_at(setup, 4), little_at(setup, 6)};
    std::optional<std::string> answer = standard_answer(request);
    if (!answer)
        answer = on_request(request, transfer.bytes);
    if (!answer)
        return reply(submitted, transfer.number, -EPIPE, 0, {});
    if ((request.type & to_host) == 0)
        return reply(submitted, transfer.number, 0, transfer.length, {});
    answer->resize(std::min(answer->size(), transfer.length));
    reply(submitted, transfer.number, 0, answer->size(), *answer);
}

std::optional<std::string> UsbGadget::standard_answer(const UsbRequest &request) const
{
    if ((request.type & receiver_mask) > 2)
        return std::nullopt;
    const bool asks = (request.type & to_host) != 0;
    if (asks && request.request == get_status)
        return little_endian(1, 2); // it has power of its own, so that no hub refuses it any
    if (asks && request.request == get_descriptor) {
        const int index = request.value & 0xff;
        const auto text = descriptors_.texts.find(index);
        switch (request.value >> 8) {
        case device_descriptor:
            return descriptors_.device;
        case configuration_descriptor:
            return descriptors_.configuration;
        case text_descriptor:
            if (index == 0)
                return std::string{4, text_descriptor, 9, 4}; // the languages: English
            if (text != descriptors_.texts.end())
                return coded_text(text->second);
            break;
        }
        return std::nullopt;
    }
    for (const uint8_t accepted : {clear_feature, set_feature, set_address, set_configuration, set_interface})
        if (!asks && request.request == accepted)
            return std::string();
    return std::nullopt;
}

void UsbGadget::flush(int endpoint)
{
    std::deque<Transfer> &waiting = waiting_[endpoint];
    std::deque<std::string> &kept = kept_[endpoint];
    while (!waiting.empty() && !kept.empty()) {
        const Transfer transfer = waiting.front();
        waiting.pop_front();
        const std::string piece = kept.front().substr(0, transfer.length);
        kept.front().erase(0, piece.size());
        if (kept.front().empty())
            kept.pop_front();
        reply(submitted, transfer.number, 0, piece.size(), piece);
    }
}

void UsbGadget::reply(uint32_t kind, uint32_t number, int status, size_t actual, std::string_view bytes)
{
    if (!socket_)
        return;
    std::string message;
    for (const uint32_t field :
         {kind, number, 0U, 0U, 0U, static_cast<uint32_t>(status), static_cast<uint32_t>(actual)})
        append_number(message, field);
    message.resize(header_bytes);
    message += bytes;
    for (size_t done = 0; done < message.size();) {
        const ssize_t sent = ::send(socket_.get(), message.data() + done, message.size() - done, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return; // the kernel has closed the port, which on_ready sees
        done += static_cast<size_t>(sent);
    }
}

} // namespace simulator
