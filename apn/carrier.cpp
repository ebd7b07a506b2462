#include "apn/carrier.h"

#include "apn/shell_lines.h"
#include "core/model/state_dir.h"
#include "drivers/common.h"
#include "platform/shell.h"

namespace {

constexpr size_t mcc_length = 3;
constexpr size_t shortest_code = 5; // MCC and a two-digit MNC
constexpr size_t longest_carrier = 16;

void keep_imsi(const ModemDriver &rec)
{
    Text<16> imsi;
    if (rec.ops.get_imsi == nullptr || rec.ops.get_imsi(rec, imsi) != 0)
        return;
    run_writer(rec.bus.c_str(), compose_keep_imsi(imsi.view(), rec.bus.c_str()));
}

HeapText find_operator(std::string_view code)
{
    return getShellCommandReturnDynamic(compose_find_operator(code));
}

std::string_view without_line_end(std::string_view name)
{
    if (name.size() > 1 && name.back() == '\n')
        name.remove_suffix(1);
    return name;
}

} // namespace

int read_mcc_mnc(const ModemDriver &rec, TextOut mcc, TextOut mnc)
{
    const char *bus = rec.bus.c_str();
    if (!has_state(bus, "cimi"))
        keep_imsi(rec);
    if (!has_state(bus, "cimi"))
        return -1;
    Text<16> imsi;
    read_state(bus, "cimi", 15, imsi);
    if (!starts_with_digits(imsi.view(), shortest_code)) {
        remove_state(bus, "cimi");
        return -1;
    }
    const std::string_view first_line = first_characters(imsi.view(), imsi.view().find('\n'));
    mcc.assign(first_characters(first_line, mcc_length));
    mnc.assign(first_characters(without_first(first_line, mcc_length), 3));
    return 0;
}

int add_carrier(json_object *info, const ModemDriver &rec)
{
    Text<4> mcc;
    Text<4> mnc;
    if (read_mcc_mnc(rec, mcc, mnc) != 0) {
        kjson_add_string(info, "carrier", "");
        return -1;
    }
    kjson_add_string(info, "mnc", mnc.view());
    kjson_add_string(info, "mcc", mcc.view());
    const auto code = Text<8>::format("%s%s", mcc.c_str(), mnc.c_str());
    HeapText name = find_operator(code.view());
    if (name == nullptr)
        name = find_operator(first_characters(code.view(), shortest_code));
    const std::string_view carrier = name == nullptr ? std::string_view{} : without_line_end(name.get());
    kjson_add_string(info, "carrier", first_characters(carrier, longest_carrier));
    return 0;
}
