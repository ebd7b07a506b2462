#include "status/signal_cache.h"

#include <gtest/gtest.h>

#include "status/shell_lines.h"

namespace signal_cache_test {

struct CacheRow {
    const char *what;
    const char *cache;
    int code;
    int32_t level;
    const char *details;
};
const CacheRow cache_rows[] = {
    {"LTE", R"({"type":"lte","rsrp":-95,"rsrq":-13,"snr":150,"rssi":-70})", 4, 2,
     R"({"type":"LTE","rssi":"-70","rsrp":"-95","rsrq":"-13","sinr":"150"})"},
    {"an RSRQ of -14", R"({"type":"lte","rsrp":-95,"rsrq":-14,"snr":150,"rssi":-70})", 4, 2,
     R"({"type":"LTE","rssi":"-70","rsrp":"-95","rsrq":"-14","sinr":"150"})"},
    {"an RSRQ of -12", R"({"type":"lte","rsrp":-95,"rsrq":-12,"snr":150,"rssi":-70})", 4, 3,
     R"({"type":"LTE","rssi":"-70","rsrp":"-95","rsrq":"-12","sinr":"150"})"},
    {"SNR 200 is 4", R"({"type":"lte","rsrp":-90,"rsrq":-9,"snr":200,"rssi":-65})", 4, 4,
     R"({"type":"LTE","rssi":"-65","rsrp":"-90","rsrq":"-9","sinr":"200"})"},
    {"SNR 199 is 3", R"({"type":"lte","rsrp":-90,"rsrq":-9,"snr":199,"rssi":-65})", 4, 3,
     R"({"type":"LTE","rssi":"-65","rsrp":"-90","rsrq":"-9","sinr":"199"})"},
    {"SNR 120 is 3", R"({"type":"lte","rsrp":-91,"rsrq":-10,"snr":120,"rssi":-66})", 4, 3,
     R"({"type":"LTE","rssi":"-66","rsrp":"-91","rsrq":"-10","sinr":"120"})"},
    {"SNR 119 is 2", R"({"type":"lte","rsrp":-91,"rsrq":-10,"snr":119,"rssi":-66})", 4, 2,
     R"({"type":"LTE","rssi":"-66","rsrp":"-91","rsrq":"-10","sinr":"119"})"},
    {"SNR 0 is 2", R"({"type":"lte","rsrp":-120,"rsrq":-13,"snr":0,"rssi":-85})", 4, 2,
     R"({"type":"LTE","rssi":"-85","rsrp":"-120","rsrq":"-13","sinr":"0"})"},
    {"SNR -1 is 1", R"({"type":"lte","rsrp":-120,"rsrq":-13,"snr":-1,"rssi":-85})", 4, 1,
     R"({"type":"LTE","rssi":"-85","rsrp":"-120","rsrq":"-13","sinr":"-1"})"},
    {"missing values are 0", R"({"type":"lte"})", 4, 3,
     R"({"type":"LTE","rssi":"0","rsrp":"0","rsrq":"0","sinr":"0"})"},
    {"an empty type counts as LTE", R"({"type":""})", 4, 3,
     R"({"type":"LTE","rssi":"0","rsrp":"0","rsrq":"0","sinr":"0"})"},
    {"the start of a word counts as the word", R"({"type":"l"})", 4, 3,
     R"({"type":"LTE","rssi":"0","rsrp":"0","rsrq":"0","sinr":"0"})"},
    {"WCDMA", R"({"type":"wcdma","rssi":-60,"ecio":-5})", 3, 3, R"({"type":"WCDMA","rssi":"-60","ecio":"-5"})"},
    {"a bad WCDMA", R"({"type":"wcdma","rssi":-96,"ecio":-21})", 3, 1, R"({"type":"WCDMA","rssi":"-96","ecio":"-21"})"},
    {"HDR", R"({"type":"hdr","rssi":-81,"ecio":-11})", 3, 2, R"({"type":"HDR","rssi":"-81","ecio":"-11"})"},
    {"CDMA", R"({"type":"cdma","rssi":-60,"ecio":-5})", 2, 3, R"({"type":"CDMA","rssi":"-60","ecio":"-5"})"},
    {"GSM -70 is 4", R"({"type":"gsm","signal":-70})", 2, 4, R"({"type":"GSM","rssi":"-70"})"},
    {"GSM -71 is 3", R"({"type":"gsm","signal":-71})", 2, 3, R"({"type":"GSM","rssi":"-71"})"},
    {"GSM -80 is 3", R"({"type":"gsm","signal":-80})", 2, 3, R"({"type":"GSM","rssi":"-80"})"},
    {"GSM -81 is 2", R"({"type":"gsm","signal":-81})", 2, 2, R"({"type":"GSM","rssi":"-81"})"},
    {"GSM -95 is 2", R"({"type":"gsm","signal":-95})", 2, 2, R"({"type":"GSM","rssi":"-95"})"},
    {"GSM -96 is 1", R"({"type":"gsm","signal":-96})", 2, 1, R"({"type":"GSM","rssi":"-96"})"},
    {"TDMA reports its RSSI and is graded by its signal", R"({"type":"tdma","rssi":-60,"signal":-96})", 2, 1,
     R"({"type":"TDMA","rssi":"-60"})"},
    {"values as texts", R"({"type":"gsm","signal":"-81"})", 2, 2, R"({"type":"GSM","rssi":"-81"})"},
    {"values that are none", R"({"type":"gsm","signal":[]})", 2, 4, R"({"type":"GSM","rssi":"0"})"},
    {"no type", R"({"rssi":-60})", -1, 77, "{}"},
    {"a type that is no text", R"({"type":[]})", -1, 77, "{}"},
    {"another type", R"({"type":"nr5g"})", -1, 77, "{}"},
    {"a longer type", R"({"type":"lte-a"})", -1, 77, "{}"},
};

TEST(SignalCache, IsGradedAndReportedByItsTechnology)
{
    for (const auto &row : cache_rows) {
        const Json cache{json_tokener_parse(row.cache)};
        const Json details{json_object_new_object()};
        int32_t level = 77;
        EXPECT_EQ(grade_signal_cache(cache.get(), level), row.code) << row.what;
        EXPECT_EQ(level, row.level) << row.what;
        add_cached_signal(cache.get(), details.get());
        EXPECT_STREQ(json_object_to_json_string_ext(details.get(), JSON_C_TO_STRING_PLAIN), row.details) << row.what;
    }
}

TEST(SignalCache, ThatIsMissingIsNothing)
{
    const Json array{json_object_new_array()};
    int32_t level = 77;
    EXPECT_EQ(grade_signal_cache(nullptr, level), -1);
    EXPECT_EQ(signal_details("no-such-bus", array.get(), level), -1);
    EXPECT_EQ(level, 77);
    EXPECT_STREQ(json_object_to_json_string_ext(array.get(), JSON_C_TO_STRING_PLAIN), "[{}]");
}

TEST(SignalCache, IsReadByItsBus)
{
    EXPECT_EQ(compose_read_signal_cache("1-1.2").view(), "cat /tmp/modem.1-1.2/signal 2>/dev/null");
}

} // namespace signal_cache_test
