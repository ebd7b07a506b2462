// Modem replies of any kind through every parser of the drivers and the reply helpers.

#include <array>
#include <cstdint>

#include "at/reply.h"
#include "drivers/common_replies.h"
#include "drivers/fibocom.h"
#include "drivers/mode.h"
#include "drivers/quectel_cells.h"
#include "drivers/quectel_config.h"
#include "drivers/quectel_signal.h"
#include "drivers/sierra.h"
#include "drivers/sierra_report.h"
#include "platform/text.h"
#include "readings/band_commands.h"
#include "readings/band_families.h"
#include "readings/radio_modes.h"
#include "tests/fuzz/check.h"

namespace {

bool is_level(int32_t level)
{
    return level >= -1 && level <= 4; // -1: a system that is not rated
}

bool is_within(std::string_view part, std::string_view whole)
{
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void try_helpers(std::string_view reply, std::string_view label)
{
    Text<101> field;
    int32_t number = -7;
    check(int_after_label(reply, label, number) == 0 || number == -7, "a failure leaves the number alone");
    check(field_after_label(reply, label, 1, field) == 0 || field.empty(), "a failure leaves the field alone");
    for (int index = 0; index < 4; index++)
        csv_field(reply, index, field);
    check(field.c_str()[100] == '\0', "a field ends");
    check(!reply_has_ok(reply) || str_contains(reply, "OK"), "an OK is there");
    check(is_within(from_first(reply, label).value_or(std::string_view{}), reply), "a part of the reply");
    check(is_within(after_first(reply, label).value_or(std::string_view{}), reply), "a part of the reply");
}

void try_common(std::string_view reply)
{
    check(is_within(parse_model(reply).value_or(""), reply), "a model is part of the reply");
    parse_access_technology(reply);
    check(is_level(parse_signal_bars(reply).value_or(0)), "bars are 0 to 4");
    Text<16> imsi;
    check((copy_digits(reply, 15, imsi) == 0) == (imsi.size() == 15), "an IMSI has 15 digits");
    check(starts_with_digits(imsi.view(), imsi.size()), "an IMSI is digits");
    check(is_within(parse_operator(reply).value_or(""), reply), "an operator is part of the reply");
    const int registration = parse_registration(reply).value_or(0);
    check(registration >= 0 && registration <= 9, "a registration is a digit");
    const auto imei = parse_imei(reply);
    check(starts_with_digits(imei.view(), imei.size()), "an IMEI is digits");
}

void try_quectel(std::string_view reply)
{
    const Json array{json_object_new_array()};
    int32_t level = 0;
    if (const auto cell = parse_servingcell(reply))
        lte_band(*cell);
    check(add_qcsq_signals(reply, array.get(), level) == -1 || is_level(level), "the level of qcsq is 0 to 4");
    level = 0;
    // A WCDMA line adds to the level of the line before, and halves.
    check(add_servingcell_signals(reply, array.get(), level) == -1 || is_level(level / 2), "the level is -1 to 8");
    add_carriers(reply, array.get());
    add_serving_cells(reply, array.get());
    add_neighbour_cells(reply, array.get());
    check(is_document(array.get()), "what comes of a reply is JSON");
    has_two_carriers(reply);
    const std::string_view revision = parse_revision(reply).value_or(std::string_view{});
    check(revision.size() <= 59 && is_within(revision, reply), "a revision is 59 characters of the reply");
    pick_band_lock(revision);
    parse_scan_mode(reply);
    parse_lte_band(reply);
    const std::string_view mask = parse_lte_mask(reply).value_or(std::string_view{});
    check(mask.size() <= 39, "a mask has 39 characters");
    std::array<uint8_t, 8> bytes{};
    check(hex_to_bytes(reply, bytes) <= bytes.size(), "a number of bytes that has room");
    check(list_bands(mask).size() <= 99, "bands have 99 characters");
}

void try_others(std::string_view reply, std::string_view second)
{
    const Json array{json_object_new_array()};
    parse_gtccinfo_mode(reply);
    is_registered_at_home(reply);
    const Signal quality = parse_cesq(reply);
    const auto csq_index = parse_csq_index(second);
    check(is_level(fibocom_level(quality, csq_index)), "the level of fibocom is 0 to 4");
    const Json signal{json_object_new_object()};
    add_fibocom_signal(signal.get(), quality, csq_index);
    add_fibocom_cells(reply, csq_index, array.get());
    const auto graded = parse_gstatus_signal(reply);
    check(!graded || is_level(graded->level), "the level of gstatus is 0 to 4");
    add_gstatus_cells(reply, array.get());
    is_aggregated(reply);
    check(is_document(array.get()) && is_document(signal.get()), "what comes is JSON");
    parse_cnsmod(reply);
    parse_zpas(reply);
}

void check_commands(const CommandLines &commands)
{
    bool begins_line = true;
    for (size_t i = 0; i < commands.size(); i++) {
        const char character = commands.c_str()[i];
        check(!begins_line || commands.view().substr(i).starts_with("AT"), "each line is a command");
        check(character == '\n' || (character >= ' ' && character <= '~' && character != ';'), "it is one command");
        begins_line = character == '\n';
    }
}

// What a modem says becomes a part of the commands that it gets.
void try_radio(std::string_view reply, std::string_view second)
{
    for (const BandFamily &family : band_families()) {
        BandSettings now;
        BandSettings has;
        if (!family.read(family, reply, now))
            continue;
        if (family.read_supported != nullptr)
            family.read_supported(family, second, has);
        check_commands(compose_bands(family.write, all_bands(family.all_lte, now, has), has));
    }
    for (const ModeFamily &family : mode_families()) {
        if (const auto setting = read_mode(family, reply))
            check_commands(compose_mode(family, setting->value.view()));
        if (const Text<40> values = values_of(family, RadioMode::only_4g, second); family.names != nullptr)
            check(values.size() <= 2 && is_made_of(values.view(), ""), "an index is two digits");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string_view input{reinterpret_cast<const char *>(bytes), size};
    // Two replies, or a label and a reply, with a form feed between; replies come without zero bytes.
    const std::string_view front = first_characters(input, input.find('\f'));
    const std::string_view reply = front.size() == input.size() ? input : without_first(input, front.size() + 1);
    if (input.find('\0') != std::string_view::npos)
        return 0;
    try_helpers(reply, front == reply ? "+" : front);
    try_common(reply);
    try_quectel(reply);
    try_others(reply, front);
    try_radio(reply, front);
    return 0;
}
