#include "simulator/router/journal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <system_error>

#include "simulator/router/event_loop.h"

namespace simulator {

std::string one_line(std::string_view bytes)
{
    std::string line;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\\')
            line += "\\\\";
        else if (character == '\n')
            line += "\\n";
        else if (character == '\r')
            line += "\\r";
        else if (character == '\t')
            line += "\\t";
        else if (byte < 0x20 || byte == 0x7f) {
            char text[8];
            snprintf(text, sizeof text, "\\x%02x", byte);
            line += text;
        } else
            line += character;
    }
    return line;
}

LineFile::LineFile(const std::string &path, bool append)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | (append ? 0 : O_TRUNC), 0666)), path_(path)
{
    if (!file_)
        throw std::system_error(errno, std::generic_category(), path);
}

void LineFile::write(std::string line)
{
    if (!file_)
        return;
    line += '\n';
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t written = ::write(file_.get(), rest.data(), rest.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            fprintf(stderr, "simrouter: %s: %s\n", path_.c_str(), strerror(errno));
            file_ = Fd();
            return;
        }
        rest.remove_prefix(static_cast<size_t>(written));
    }
}

void Journal::add(std::string_view kind, std::string_view who, std::string_view text)
{
    file_.write(one_line(kind) + '\t' + one_line(who) + '\t' + one_line(text));
}

void TrafficLog::add(std::string_view port, std::string_view direction, std::string_view bytes)
{
    if (!file_)
        return;
    char time[32];
    const int64_t elapsed = EventLoop::now_ms() - start_ms_;
    snprintf(time, sizeof time, "%6lld.%03d", static_cast<long long>(elapsed / 1000), static_cast<int>(elapsed % 1000));
    file_.write(std::string(time) + ' ' + std::string(port) + ' ' + std::string(direction) + ' ' + one_line(bytes));
}

} // namespace simulator
