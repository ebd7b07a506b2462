#include "discovery/record/metrics.h"

#include <cstring>
#include <string_view>

#include "platform/text.h"
#include "readings/fields.h"
#include "readings/report.h"

namespace {

using enum MetricShape;

// clang-format off
constexpr MetricRow rows[] = {
    {"modem_up", "The modem answered when it was last asked.", up, nullptr},
    {"modem_info", "The modem.", info, nullptr, nullptr,
     "name=model.name manufacturer=modem.manufacturer model=modem.model firmware=modem.revision"},
    {"modem_identity_info", "The numbers of the modem and its SIM card.", info, nullptr, nullptr,
     "imei=modem.imei iccid=sim.iccid imsi=sim.imsi", true},
    {"modem_temperature_celsius", "Temperature of the hottest sensor.", number, "modem", "temperature_c"},
    {"modem_sim_state", "State of the SIM card, 1 for the present one.", state, "sim", "state",
     "ready pin puk puk2 network_lock not_inserted failure busy error"},
    {"modem_registration_state", "Registration with a network, 1 for the present state.", state, "network", "registration",
     "home roaming registered searching denied unknown not_registered"},
    {"modem_network_info", "The network in use.", info, nullptr, nullptr,
     "mcc=network.mcc mnc=network.mnc operator=network.operator_name rat=network.technology"},
    {"modem_cell_info", "The serving cell.", info, nullptr, nullptr, "cell_id=serving.cell_id tac=serving.tac", true},
    {"modem_carrier_info", "A carrier in use.", carrier, nullptr, nullptr, "band=band arfcn=arfcn pci=pci"},
    {"modem_carrier_bandwidth_hertz", "Downlink bandwidth.", signal, nullptr, "bandwidth_dl_mhz", "", false, 1'000'000},
    {"modem_rssi_dbm", "Received signal strength indicator.", signal, nullptr, "rssi_dbm"},
    {"modem_rsrp_dbm", "Reference signal received power, LTE and NR.", signal, nullptr, "rsrp_dbm"},
    {"modem_rscp_dbm", "Received signal code power, WCDMA.", signal, nullptr, "rscp_dbm"},
    {"modem_rsrq_db", "Reference signal received quality, LTE and NR.", signal, nullptr, "rsrq_db"},
    {"modem_sinr_db", "Signal to interference plus noise ratio.", signal, nullptr, "sinr_db"},
    {"modem_ecio_db", "Energy per chip over the received power density, WCDMA.", signal, nullptr, "ecio_db"},
    {"modem_signal_quality_level", "Signal quality from 0 (none) to 5 (excellent).", number, "quality", "level"},
    {"modem_interface_up", "The network interface is up.", truth, "interface", "state", "up"},
    {"modem_interface_uptime_seconds", "Time since the network interface came up.", number, "interface", "uptime_s"},
    {"modem_receive_bytes_total", "Bytes received by the network device.", number, "interface", "rx_bytes"},
    {"modem_transmit_bytes_total", "Bytes sent by the network device.", number, "interface", "tx_bytes"},
    {"modem_sms_unread", "Messages that nobody has read.", number, "sms", "unread"},
    {"modem_watch_state", "What the watch sees, 1 for the present state.", state, "watch", "state",
     "off absent blocked no-service starting online suspect recovering slow"},
    {"modem_watch_state_seconds", "Time in this state.", number, "watch", "since_s"},
    {"modem_report_age_seconds", "Age of the report that these values come from.", number, nullptr, "age_s"},
};
// clang-format on

bool is_counter(std::string_view name)
{
    return name.ends_with("_total");
}

// The samples of one metric. Its head is printed with the first one.
class Family {
  public:
    Family(FILE *out, const MetricRow &row, bool openmetrics) : out_(out), row_(row), openmetrics_(openmetrics) {}

    /// Starts a sample of the modem of report.
    void start(json_object *report)
    {
        labels_.clear();
        count_ = 0;
        is_whole_ = true;
        label("bus", kjson_get_string(report, "bus"));
    }
    /// A label without a value is left out: to Prometheus both are the same.
    void label(std::string_view name, const char *value)
    {
        if (value == nullptr || *value == '\0')
            return;
        count_++;
        append(labels_.empty() ? "" : ",");
        append(name);
        append("=\"");
        for (; *value != '\0'; value++) {
            if (*value == '"' || *value == '\\')
                append("\\");
            append(*value == '\n' ? std::string_view{"\\n"} : std::string_view{value, 1});
        }
        append("\"");
    }
    int count() const { return count_; }
    void print(const char *value)
    {
        if (!is_whole_)
            return;
        print_head();
        fprintf(out_, "%s{%s} %s\n", row_.name, labels_.c_str(), value);
    }

  private:
    void append(std::string_view text) { is_whole_ = labels_.append(text) && is_whole_; }
    void print_head()
    {
        if (has_head_)
            return;
        has_head_ = true;
        const bool counts = is_counter(row_.name);
        std::string_view family = row_.name;
        if (counts && openmetrics_)
            family.remove_suffix(sizeof "_total" - 1);
        const int length = static_cast<int>(family.size());
        fprintf(out_, "# HELP %.*s %s\n# TYPE %.*s %s\n", length, family.data(), row_.help, length, family.data(),
                counts ? "counter" : "gauge");
    }

    FILE *out_;
    const MetricRow &row_;
    bool openmetrics_;
    bool has_head_ = false;
    bool is_whole_ = true;
    int count_ = 0;
    Text<1024> labels_;
};

json_object *group_of(json_object *report, const char *group)
{
    json_object *object = group == nullptr ? report : kjson_get_object(report, group);
    return json_object_is_type(object, json_type_object) ? object : nullptr;
}

bool is_number(json_object *value)
{
    return json_object_is_type(value, json_type_int) || json_object_is_type(value, json_type_double);
}

// "imei=modem.imei band=band": a label each, of a member of a group of object, or of object itself.
void add_labels(Family &family, std::string_view labels, json_object *object)
{
    while (!labels.empty()) {
        const std::string_view word = take_until(labels, " ");
        const size_t equals = word.find('=');
        const std::string_view path = without_first(word, equals + 1);
        const size_t dot = path.find('.');
        const bool has_group = dot != std::string_view::npos;
        const Text<16> group{first_characters(path, has_group ? dot : 0)};
        const Text<20> member{without_first(path, has_group ? dot + 1 : 0)};
        json_object *holder = group_of(object, has_group ? group.c_str() : nullptr);
        family.label(first_characters(word, equals), kjson_get_string(holder, member.c_str()));
    }
}

void print_number(Family &family, json_object *value, int32_t factor)
{
    if (factor == 1)
        return family.print(json_object_get_string(value));
    // None of them is negative, and llround would be one library more.
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    const auto product = static_cast<long long>(json_object_get_double(value) * factor + 0.5);
    family.print(Text<24>::format("%lld", product).c_str());
}

struct CarrierLabels {
    const char *carrier;
    const char *rat;
};

void print_carrier(Family &family, const MetricRow &row, json_object *report, json_object *cell, CarrierLabels labels)
{
    json_object *value = nullptr;
    if (row.shape == signal) {
        value = kjson_get_object(cell, row.member);
        if (value == nullptr && strcmp(row.member, "bandwidth_dl_mhz") == 0)
            value = kjson_get_object(cell, "bandwidth_mhz"); // as a carrier of the list has it
        if (!is_number(value))
            return;
    }
    family.start(report);
    family.label("carrier", labels.carrier);
    family.label("rat", labels.rat);
    if (value != nullptr)
        return print_number(family, value, row.factor);
    const int count = family.count();
    add_labels(family, row.labels, cell);
    if (family.count() > count)
        family.print("1");
}

// The serving cell, the NR cell beside it, and the secondary carriers by their number.
void print_carriers(Family &family, const MetricRow &row, json_object *report)
{
    const char *technology = kjson_get_string(group_of(report, "network"), "technology");
    const bool is_anchor = technology != nullptr && strcmp(technology, technology_name(Technology::nr_nsa)) == 0;
    const char *serving_rat = is_anchor ? technology_name(Technology::lte) : technology;
    print_carrier(family, row, report, group_of(report, "serving"), {"pcc", serving_rat});
    print_carrier(family, row, report, group_of(report, "nr"), {"nr", "NR5G"});
    json_object *list = kjson_get_object(report, "carriers");
    int number = 0;
    for (size_t i = 0; json_object_is_type(list, json_type_array) && i < json_object_array_length(list); i++) {
        json_object *cell = group_of(json_object_array_get_idx(list, i), nullptr);
        const char *role = kjson_get_string(cell, "role");
        if (role == nullptr || strcmp(role, "SCC") != 0)
            continue;
        const auto name = Text<16>::format("scc%d", ++number);
        print_carrier(family, row, report, cell, {name.c_str(), kjson_get_string(cell, "rat")});
    }
}

void print_samples(Family &family, const MetricRow &row, json_object *report)
{
    if (row.shape == signal || row.shape == carrier)
        return print_carriers(family, row, report);
    json_object *value = row.member == nullptr ? nullptr : kjson_get_object(group_of(report, row.group), row.member);
    const char *word = json_object_is_type(value, json_type_string) ? json_object_get_string(value) : nullptr;
    family.start(report);
    if (row.shape == up) {
        // A modem whose dialect is known has answered.
        family.print(kjson_contain_key(group_of(report, "model"), "dialect") != 0 ? "1" : "0");
    } else if (row.shape == info) {
        const int count = family.count();
        add_labels(family, row.labels, report);
        if (family.count() > count)
            family.print("1");
    } else if (row.shape == number) {
        if (is_number(value))
            print_number(family, value, row.factor);
    } else if (word != nullptr && row.shape == truth) {
        family.print(strcmp(word, row.labels) == 0 ? "1" : "0");
    } else if (word != nullptr) {
        for (std::string_view states = row.labels; !states.empty();) {
            const Text<24> name{take_until(states, " ")};
            family.start(report);
            family.label("state", name.c_str());
            family.print(name == word ? "1" : "0");
        }
    }
}

} // namespace

const std::span<const MetricRow> metric_rows{rows};

void print_metrics(FILE *out, json_object *reports, const MetricsOptions &options)
{
    const size_t count = json_object_is_type(reports, json_type_array) ? json_object_array_length(reports) : 0;
    for (const MetricRow &row : rows) {
        if (row.identifies && !options.identify)
            continue;
        Family family{out, row, options.openmetrics};
        for (size_t i = 0; i < count; i++)
            if (json_object *report = group_of(json_object_array_get_idx(reports, i), nullptr); report != nullptr)
                print_samples(family, row, report);
    }
    if (options.openmetrics)
        fputs("# EOF\n", out);
}
