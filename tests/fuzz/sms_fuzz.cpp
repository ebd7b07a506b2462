// Message files of any content through the spool's reader, and bodies through the conversion.

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/files.h"
#include "sms/message.h"
#include "sms/ucs2.h"
#include "tests/fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const Fd file{memfd_create("message", MFD_CLOEXEC)};
    if (!file || write(file.get(), bytes, size) != static_cast<ssize_t>(size))
        return 0;
    const Json message = read_message(Text<32>::format("/proc/self/fd/%d", file.get()).c_str());
    check(message != nullptr, "a file that can be opened is a message");
    check(kjson_get_string(message.get(), "body") != nullptr, "a message has a body");
    check(strlen(kjson_get_string(message.get(), "body")) <= 3 * 2048, "a body is bounded");
    check(is_document(message.get()), "a message is JSON");

    const char *text = reinterpret_cast<const char *>(bytes);
    for (const int characters : {-1, 0, 1, 7, 683, 99999999}) {
        const auto converted = convert_ucs2({text, size}, characters);
        check(characters > 0 || converted.empty(), "nothing comes of no characters");
        const Json as_json = json_text(converted.view());
        check(json_object_get_string(as_json.get()) == converted.view(), "what is converted is UTF-8");
    }
    return 0;
}
