// Other files and texts that come from outside: the signal cache, the operator's mail settings, /proc/net/dev, routes,
// the board's name, an upgrade's version, the rows of a models file.

#include <cstdint>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "api/mail_client.h"
#include "api/upgrade.h"
#include "core/model/modem.h"
#include "core/table/models_file.h"
#include "platform/board_sources.h"
#include "platform/files.h"
#include "platform/text.h"
#include "readings/fields.h"
#include "status/signal_cache.h"
#include "status/traffic.h"
#include "tests/fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(bytes), size);
    const Json cache{json_tokener_parse(input.c_str())};
    const Json details{json_object_new_object()};
    if (json_object_is_type(cache.get(), json_type_object)) {
        int32_t level = 7;
        const int code = grade_signal_cache(cache.get(), level);
        check(code == -1 ? level == 7 : (code >= 2 && code <= 4 && level >= 1 && level <= 4), "a grade is 1 to 4");
        add_cached_signal(cache.get(), details.get());
    }
    MailSettings mail;
    parse_mail_settings_line(input.c_str(), mail);
    check(mail.smtp.size() < 128 && mail.account.size() < 128, "a setting is cut");
    const auto version = filter_version(input);
    check(is_made_of(version.view(), "._"), "a version has plain characters only");
    parse_model_name(input);
    for (std::string_view rest = input; !rest.empty();) {
        const char *fault = nullptr;
        const auto row = parse_model_row(take_until(rest, "\n"), fault);
        check(!row || fault == nullptr, "a row is right or has a fault");
        if (!row)
            continue;
        check(!row->name.empty() && is_made_of(row->name.view(), "-_.+"), "a name has plain characters only");
        check(row->modem_id >= 100 && row->modem_id <= 9999 && row->modem_id != unknown_modem_id,
              "a number is in range");
        check(row->control_port >= 0 && row->control_port <= 31, "an AT port is there");
        check(row->data_port <= 31 && row->qmi_port <= 31, "an interface is in range");
        check(row->vid != 0 && row->vid <= 0xffff && row->pid <= 0xffff, "a USB id is in range");
        check(row->proto_flags != 0 && row->dialect != nullptr, "a row says how to connect and what to ask");
    }
    parse_default_gateway(input, "wwan0");

    const Fd file{memfd_create("dev", MFD_CLOEXEC)};
    if (file && write(file.get(), bytes, size) == static_cast<ssize_t>(size))
        add_net_dev_traffic(details.get(), "wwan0", Text<32>::format("/proc/self/fd/%d", file.get()).c_str());
    check(is_document(details.get()), "what comes of a file is JSON");
    return 0;
}
