#include <gtest/gtest.h>

#include "readings/band_commands.h"
#include "readings/band_families.h"
#include "readings/radio_modes.h"

namespace radio_settings_test {

std::string names_of(const BandSet &set, char letter)
{
    std::string names = set.told ? "" : "?";
    for (int band = 1; band <= 512; band++)
        if (set.has(band))
            names += (names.empty() ? "" : " ") + (letter + std::to_string(band));
    return names;
}

// "B1 B3|n78|n41": 4G, 5G, 5G beside 4G; "?" for what is not told.
std::string names_of(const BandSettings &settings)
{
    return names_of(settings.lte, 'B') + "|" + names_of(settings.nr, 'n') + "|" + names_of(settings.nr_nsa, 'n');
}

const BandFamily &family_of(std::string_view question)
{
    for (const BandFamily &family : band_families())
        if (family.questions[0] == question)
            return family;
    ADD_FAILURE() << question;
    return band_families()[0];
}

std::string commands_of(const BandFamily &family, const BandSettings &settings, const BandSettings &has)
{
    return compose_bands(family.write, settings, has).c_str();
}

struct BandRow {
    const char *question;
    const char *reply;
    const char *bands;               ///< names_of; null: not understood
    const char *wanted;              ///< what is set then
    const char *commands;            ///< which writes this
    const char *back;                ///< and the way back
    const char *supported = nullptr; ///< reply about what is supported
    const char *has = nullptr;
};
constexpr char three_lists[] = "\r\n+QNWPREFCFG: \"lte_band\",1:3:7:20\r\n\r\nOK\r\n"
                               "\r\n+QNWPREFCFG: \"nr5g_band\",1:3:78\r\n\r\nOK\r\n"
                               "\r\n+QNWPREFCFG: \"nsa_nr5g_band\",78\r\n\r\nOK\r\n";
constexpr char simcom_mask[] = "\r\n+CNBP: 0x100200000EE80380,"
                               "0x480000000000000000000000000000000000000000000042000007FFFFDF3FFF,"
                               "0x000000000000003F\r\n\r\nOK\r\n";
const BandRow band_rows[] = {
    // RG502Q and RM520N
    {"AT+QNWPREFCFG=\"lte_band\"", three_lists, "B1 B3 B7 B20|n1 n3 n78|n78", "B3,n78,n3",
     "AT+QNWPREFCFG=\"lte_band\",3\nAT+QNWPREFCFG=\"nr5g_band\",3:78\nAT+QNWPREFCFG=\"nsa_nr5g_band\",78\n",
     "AT+QNWPREFCFG=\"lte_band\",1:3:7:20\nAT+QNWPREFCFG=\"nr5g_band\",1:3:78\nAT+QNWPREFCFG=\"nsa_nr5g_band\",78\n",
     "\r\n+QNWPREFCFG: \"gw_band\",1:2:4\r\n+QNWPREFCFG: \"lte_band\",1:2:3:7:20:66:71\r\n"
     "+QNWPREFCFG: \"nsa_nr5g_band\",41:78\r\n+QNWPREFCFG: \"nr5g_band\",1:3:41:78\r\n\r\nOK\r\n",
     "B1 B2 B3 B7 B20 B66 B71|n1 n3 n41 n78|n41 n78"},
    // EC25
    {"AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0x93,0x1a0000800d5,0x0\r\n\r\nOK\r\n",
     "B1 B3 B5 B7 B8 B20 B38 B40 B41|?|?", "b1,b3,b5,b40", "AT+QCFG=\"band\",0,8000000015,0,1\n",
     "AT+QCFG=\"band\",0,1A0000800D5,0,1\n"},
    // EM12: more than 64 bits
    {"AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0x5af0,0x2000001e0bb1f39df,0x0\r\n\r\nOK\r\n",
     "B1 B2 B3 B4 B5 B7 B8 B9 B12 B13 B14 B17 B18 B19 B20 B21 B25 B26 B28 B29 B30 B32 B38 B39 B40 B41 B66|?|?",
     "B66,B3", "AT+QCFG=\"band\",0,20000000000000004,0,1\n", "AT+QCFG=\"band\",0,2000001E0BB1F39DF,0,1\n"},
    // EC200A: two masks
    {"AT+QCFG=\"band\"", "AT+QCFG=\"band\"\r\r\n+QCFG: \"band\",0xd0,0x1e200000095\r\n\r\nOK\r\n",
     "B1 B3 B5 B8 B34 B38 B39 B40 B41|?|?", "B3", "AT+QCFG=\"band\",0,4\n", "AT+QCFG=\"band\",0,1E200000095\n"},
    {"AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0xbff,0x0,0x0\r\n\r\nOK\r\n", nullptr, nullptr, nullptr, nullptr},
    {"AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0xbff,0x1g,0x0\r\n\r\nOK\r\n", nullptr, nullptr, nullptr, nullptr},
    // FG621-EA, and FM160 with what it supports
    {"AT+GTACT?", "\r\n+GTACT: 10,3,2,1,3,5,8,101,103,105,107,108,120,128,138,140,141\r\n\r\nOK\r\n",
     "B1 B3 B5 B7 B8 B20 B28 B38 B40 B41|?|?", "B3,B20", "AT+GTACT=10,3,2,1,3,5,8,103,120\n",
     "AT+GTACT=10,3,2,1,3,5,8,101,103,105,107,108,120,128,138,140,141\n"},
    {"AT+GTACT?", "\r\n+GTACT: 17,6,,103,108,5028,5041,5078\r\n\r\nOK\r\n", "B3 B8|n28 n41 n78|?", "n78",
     "AT+GTACT=17,6,,103,108,5078\n", "AT+GTACT=17,6,,103,108,5028,5041,5078\n",
     "\r\n+GTACT: (1,2,4,10,14,16,17,20),(2,3,6),(2,3,6),(),(1,5,8),(101,103,105,107,108,120,143),(),(),(501,503,5028,"
     "5041,5078)\r\n\r\nOK\r\n",
     "B1 B3 B5 B7 B8 B20 B43|n1 n3 n28 n41 n78|?"},
    {"AT+GTACT?", "\r\n+GTACT: 14,,,5078\r\n\r\nOK\r\n", "?|n78|?", "n41", "AT+GTACT=14,,,5041\n",
     "AT+GTACT=14,,,5078\n"},
    {"AT+GTACT?", "\r\n+GTACT: 20\r\n\r\nOK\r\n", nullptr, nullptr, nullptr, nullptr},
    // L860
    {"AT+XACT?", "\r\n+XACT: 4,2,1,1,2,4,5,8,101,102,103,107,120,141,166\r\n\r\nOK\r\n", "B1 B2 B3 B7 B20 B41 B66|?|?",
     "B3,B20", "AT+XACT=4,2,1,1,2,4,5,8,103,120\n", "AT+XACT=4,2,1,1,2,4,5,8,101,102,103,107,120,141,166\n",
     "\r\n+XACT: (0-6),(0-2),0,900,1800,1900,850,1,2,4,5,8,101,102,103,120,141,166\r\n\r\nOK\r\n",
     "B1 B2 B3 B20 B41 B66|?|?"},
    {"AT+XACT?", "\r\n+XACT: 6,2,1,900,1800,1,8,103,107\r\n\r\nOK\r\n", "B3 B7|?|?", "B3",
     "AT+XACT=6,2,1,900,1800,1,8,103\n", "AT+XACT=6,2,1,900,1800,1,8,103,107\n"},
    // EM7455
    {"AT!BAND?",
     "\r\nIndex, Name,                        GW Band Mask     L Band Mask      TDS Band Mask\r\n"
     "06, Europe,                         0002000000400000 00000000000800C5 0000000000000000\r\n\r\nOK\r\n",
     "B1 B3 B7 B8 B20|?|?", "B3,B20",
     "AT!ENTERCND=\"A710\"\nAT!BAND=10,\"modemctl\",0002000000400000,0000000000080004\nAT!BAND=10\n",
     "AT!ENTERCND=\"A710\"\nAT!BAND=10,\"modemctl\",0002000000400000,00000000000800C5\nAT!BAND=10\n",
     "\r\nIndex, Name,                        GW Band Mask     L Band Mask      TDS Band Mask\r\n"
     "00, All bands                     0002000007C00000 00000100130818DF 0000000000000000\r\n"
     "01, Europe 3G                     0002000000400000 0000000000000000 0000000000000000\r\n\r\nOK\r\n",
     "B1 B2 B3 B4 B5 B7 B8 B12 B13 B20 B25 B26 B29 B41|?|?"},
    {"AT!BAND?", "\r\nUnknown band mask. Use AT!BAND to set band.\r\n06\r\n\r\nOK\r\n", nullptr, nullptr, nullptr,
     nullptr},
    {"AT!BAND?", "\r\n1 - LTE: 00000100330818DF 0000000000000002\r\n\r\nOK\r\n", nullptr, nullptr, nullptr, nullptr},
    // SIM7600G-H
    {"AT+CNBP?", simcom_mask,
     "B1 B2 B3 B4 B5 B6 B7 B8 B9 B10 B11 B12 B13 B14 B17 B18 B19 B20 B21 B23 B24 B25 B26 B27 B28 B29 B30 B31 B32 B33 "
     "B34 "
     "B35 B36 B37 B38 B39 B40 B41 B42 B43 B66 B71 B252 B255|?|?",
     "B3,B66", "AT+CNBP=0x100200000EE80380,0x20000000000000004,0x000000000000003F\n",
     "AT+CNBP=0x100200000EE80380,0x480000000000000000000000000000000000000000000042000007FFFFDF3FFF,"
     "0x000000000000003F\n"},
    {"AT+CNBP?", "\r\n+CNBP: 0X000700000FEB0180,0X000000000000000C\r\n\r\nOK\r\n", "B3 B4|?|?", "B3",
     "AT+CNBP=0X000700000FEB0180,0x0000000000000004\n", "AT+CNBP=0X000700000FEB0180,0x000000000000000C\n"},
    // FN990 and LM960
    {"AT#BND?", "\r\n#BND: 0,22,A7E2BB0F38DF,42,1A0290800D7,7042,81A0290800D7,7442\r\n\r\nOK\r\n",
     "B1 B2 B3 B4 B5 B7 B8 B12 B13 B14 B17 B18 B19 B20 B25 B26 B28 B29 B30 B32 B34 B38 B39 B40 B41 B42 B43 B46 B48 B66 "
     "B71|n1 n2 n3 n5 n7 n8 n20 n25 n28 n30 n38 n40 n41 n48 n66 n71 n75 n77 n78 n79|n1 n2 n3 n5 n7 n8 n20 n25 n28 n30 "
     "n38 "
     "n40 n41 n66 n71 n77 n78 n79",
     "B3,B66,n78", "AT#BND=0,22,4,2,0,2000,0,2000\n",
     "AT#BND=0,22,A7E2BB0F38DF,42,1A0290800D7,7042,81A0290800D7,7442\n"},
    {"AT#BND?", "\r\n#BND: 0,0,A7E0BB0F38DF,42\r\n\r\nOK\r\n",
     "B1 B2 B3 B4 B5 B7 B8 B12 B13 B14 B17 B18 B19 B20 B25 B26 B28 B29 B30 B32 B38 B39 B40 B41 B42 B43 B46 B48 B66 "
     "B71|?|?",
     "B3", "AT#BND=0,0,4,0\n", "AT#BND=0,0,A7E0BB0F38DF,42\n", "\r\n#BND: (0),(0-11,17,18),(1-85),(0-42)\r\n\r\nOK\r\n",
     "B1 B3 B8 B66 B71|?|?"},
    {"AT#BND?", "\r\n#BND: 0,0,524420,0,0\r\n\r\nOK\r\n", nullptr, nullptr, nullptr, nullptr},
    // ME909s
    {"AT^SYSCFGEX?", "\r\n^SYSCFGEX: \"00\",3FFFFFFF,1,2,800D7\r\n\r\nOK\r\n", "B1 B2 B3 B5 B7 B8 B20|?|?", "B3",
     "AT^SYSCFGEX=\"99\",40000000,2,4,4,,\n", "AT^SYSCFGEX=\"99\",40000000,2,4,800D7,,\n",
     "^SYSCFGEX: (\"00\",\"03\",\"02\",\"01\",\"99\"),((2000004e80380,\"GSM850/GSM900/WCDMA BCI\"),(3fffffff,\"All "
     "Bands\")),(0-2),(0-4),((800d7,\"LTE BC1/LTE BC2/LTE BC3/LTE BC5/LTE BC7/LTE BC8/LTE BC20\"),(7fffffffffffffff,"
     "\"All Bands\"))\r\n\r\nOK\r\n",
     "B1 B2 B3 B5 B7 B8 B20|?|?"},
    // T99W175
    {"AT^BAND_PREF_EXT?",
     "\r\nWCDMA,Enable Bands :1,2,4,\r\nWCDMA,Disable Bands:\r\nLTE,Enable Bands :1,3,\r\nLTE,Disable Bands:7,20,\r\n"
     "NR5G_NSA,Enable Bands :78,\r\nNR5G_NSA,Disable Bands:41,\r\nNR5G_SA,Enable Bands :77,78,\r\n"
     "NR5G_SA,Disable Bands:\r\n\r\nOK\r\n",
     "B1 B3|n77 n78|n78", "B7",
     "AT^BAND_PREF_EXT=LTE,2,7\nAT^BAND_PREF_EXT=LTE,1,1:3:20\nAT^BAND_PREF_EXT=NR5G_NSA,2,78\n"
     "AT^BAND_PREF_EXT=NR5G_NSA,1,41\nAT^BAND_PREF_EXT=NR5G_SA,2,77:78\n",
     "AT^BAND_PREF_EXT=LTE,2,1:3\nAT^BAND_PREF_EXT=LTE,1,7:20\nAT^BAND_PREF_EXT=NR5G_NSA,2,78\n"
     "AT^BAND_PREF_EXT=NR5G_NSA,1,41\nAT^BAND_PREF_EXT=NR5G_SA,2,77:78\n",
     "\r\nLTE,Enable Bands :1,3,\r\nLTE,Disable Bands:7,20,\r\nNR5G_NSA,Enable Bands :78,\r\n"
     "NR5G_NSA,Disable Bands:41,\r\nNR5G_SA,Enable Bands :77,78,\r\nNR5G_SA,Disable Bands:\r\n\r\nOK\r\n",
     "B1 B3 B7 B20|n77 n78|n41 n78"},
};

struct ModeRow {
    const char *question;
    const char *reply;
    const char *mode;    ///< null: not understood
    const char *command; ///< the one that writes what was read
};
const ModeRow mode_rows[] = {
    {"AT+QNWPREFCFG=\"mode_pref\"", "\r\n+QNWPREFCFG: \"mode_pref\",AUTO\r\n\r\nOK\r\n", "auto",
     "AT+QNWPREFCFG=\"mode_pref\",AUTO\n"},
    {"AT+QNWPREFCFG=\"mode_pref\"", "\r\n+QNWPREFCFG: \"mode_pref\",NR5G:LTE\r\n\r\nOK\r\n", "4g+5g",
     "AT+QNWPREFCFG=\"mode_pref\",NR5G:LTE\n"},
    {"AT+QNWPREFCFG=\"mode_pref\"", "\r\n+QNWPREFCFG: \"mode_pref\",WCDMA:LTE\r\n\r\nOK\r\n", "other",
     "AT+QNWPREFCFG=\"mode_pref\",WCDMA:LTE\n"},
    {"AT+QNWPREFCFG=\"mode_pref\"", "\r\n+QNWPREFCFG: \"lte_band\",1\r\n\r\nOK\r\n", nullptr, nullptr},
    {"AT+QCFG=\"nwscanmode\"", "\r\n+QCFG: \"nwscanmode\",3\r\n\r\nOK\r\n", "4g", "AT+QCFG=\"nwscanmode\",3,1\n"},
    {"AT+GTACT?", "\r\n+GTACT: 17,6,,103,5078\r\n\r\nOK\r\n", "4g+5g", "AT+GTACT=17,6,,103,5078\n"},
    {"AT+GTACT?", "\r\n+GTACT: 14,;,5078\r\n\r\nOK\r\n", nullptr, nullptr},
    {"AT!SELRAT?", "\r\n!SELRAT: 06, LTE Only\r\n\r\nOK\r\n", "4g", "AT!SELRAT=06\n"},
    {"AT!SELRAT?", "\r\n!SELRAT: 00, Automatic\r\n\r\nOK\r\n", "auto", "AT!SELRAT=00\n"},
    {"AT!SELRAT?", "\r\n!SELRAT: 21, LTE and NR 5G Only\r\n\r\nOK\r\n", "4g+5g", "AT!SELRAT=21\n"},
    {"AT!SELRAT?", "\r\n!SELRAT: 05, 5G Only\r\n\r\nOK\r\n", "5g", "AT!SELRAT=05\n"},
    {"AT!SELRAT?", "\r\n!SELRAT: 11, WCDMA and LTE Only\r\n\r\nOK\r\n", "other", "AT!SELRAT=11\n"},
    {"AT!SELRAT?", "\r\n!SELRAT: 03, UMTS 3G Preferred\r\n\r\nOK\r\n", "other", "AT!SELRAT=03\n"},
    {"AT+CNMP?", "\r\n+CNMP: 109\r\n\r\nOK\r\n", "4g+5g", "AT+CNMP=109\n"},
    {"AT+CNMP?", "\r\n+CNMP: 54\r\n\r\nOK\r\n", "other", "AT+CNMP=54\n"},
    {"AT^SYSCFGEX?", "\r\n^SYSCFGEX: \"03\",3FFFFFFF,1,2,7FFFFFFFFFFFFFFF\r\n\r\nOK\r\n", "4g",
     "AT^SYSCFGEX=\"03\",40000000,2,4,40000000,,\n"},
    {"AT+ZSNT?", "\r\n+ZSNT: 2,0,0\r\n\r\nOK\r\n", "3g", "AT+ZSNT=2,0,0\n"},
    {"AT^SLMODE?", "\r\n^SLMODE:1,7\r\n\r\nOK\r\n", "auto", "AT^SLMODE=1,7\n"},
    {"AT+WS46?", "\r\n+WS46: 31\r\n\r\nOK\r\n", "auto", "AT+WS46=31\n"},
    {"AT+WS46?", "\r\nERROR\r\n", nullptr, nullptr},
};

const ModeFamily &mode_family_of(std::string_view question)
{
    for (const ModeFamily &family : mode_families())
        if (family.question == question)
            return family;
    ADD_FAILURE() << question;
    return mode_families()[0];
}

TEST(BandFamilies, ReadWhatModemsPrintAndWriteIt)
{
    for (const BandRow &row : band_rows) {
        const BandFamily &family = family_of(row.question);
        BandSettings now;
        EXPECT_EQ(family.read(family, row.reply, now), row.bands != nullptr) << row.reply;
        if (row.bands == nullptr)
            continue;
        EXPECT_EQ(names_of(now), row.bands) << row.reply;
        BandSettings has;
        if (row.has != nullptr) {
            EXPECT_TRUE(family.read_supported(family, row.supported, has)) << row.supported;
            EXPECT_EQ(names_of(has), row.has) << row.supported;
        }
        const auto wanted = parse_band_list(row.wanted);
        ASSERT_TRUE(wanted) << row.wanted;
        EXPECT_EQ(commands_of(family, change_bands(now, *wanted, has), has), row.commands) << row.reply;
        EXPECT_EQ(commands_of(family, now, has), row.back) << row.reply;
    }
}

// A reply without its OK is never read. But whatever is read, the commands made of it are whole.
TEST(BandFamilies, MakeWholeCommandsOfACutReply)
{
    for (const BandRow &row : band_rows)
        for (const char *reply : {row.reply, row.supported}) {
            const BandFamily &family = family_of(row.question);
            const auto read = reply == row.reply ? family.read : family.read_supported;
            for (size_t end = 0; reply != nullptr && end < std::string_view{reply}.size(); end++) {
                BandSettings cut;
                read(family, std::string{reply, end}, cut);
                const std::string commands = commands_of(family, cut, cut);
                EXPECT_TRUE(commands.empty() || commands.ends_with('\n')) << commands;
            }
        }
}

// The longest commands: all bands, as far as each maker's form goes.
TEST(BandFamilies, HaveRoomForAllBands)
{
    for (const BandFamily &family : band_families()) {
        BandSettings all = *parse_band_list("B1,n1");
        for (int band = 1; band <= 103; band++) {
            all.lte.add(band);
            all.nr.add(band);
        }
        all.nr_nsa = all.nr;
        EXPECT_TRUE(commands_of(family, all, all).ends_with('\n')) << family.questions[0];
    }
}

TEST(BandFamilies, AreSettledForEveryDialectThatHasOne)
{
    std::string dialects;
    for (const BandFamily &family : band_families()) {
        EXPECT_NE(family.questions[0], nullptr);
        EXPECT_EQ(family.supported == nullptr, family.read_supported == nullptr) << family.questions[0];
        for (const char *dialect : family.dialects)
            dialects += dialect == nullptr ? "" : std::string{dialect} + " ";
    }
    EXPECT_EQ(dialects, "quectel quectel fibocom fibocom sierra simcom simcom telit huawei meig 3gpp foxconn ");
}

TEST(BandFamilies, AllowAllBandsAgain)
{
    for (const BandRow &row : band_rows) {
        const BandFamily &family = family_of(row.question);
        BandSettings now;
        BandSettings has;
        if (row.bands == nullptr || !family.read(family, row.reply, now))
            continue;
        if (row.has != nullptr)
            family.read_supported(family, row.supported, has);
        const BandSettings all = all_bands(family.all_lte, now, has);
        EXPECT_TRUE(first_unsupported(all, now, has).empty() || !has.lte.told) << row.reply;
        for (int band = 1; band <= 512; band++)
            EXPECT_TRUE(all.lte.has(band) || (!now.lte.has(band) && !has.lte.has(band))) << row.reply << band;
    }
}

TEST(BandList, IsMadeOfNames)
{
    EXPECT_EQ(names_of(*parse_band_list("B3,b20,n78,N1")), "B3 B20|n1 n78|n1 n78");
    EXPECT_EQ(names_of(*parse_band_list("B3")), "B3|?|?");
    for (const char *wrong : {"", ",", "B", "3", "B3,", ",B3", "B3,,B20", "B0", "B-3", "B513", "B3 ", "B3;B20", "n",
                              "nB3", "B99999999999999999999", "auto"})
        EXPECT_FALSE(parse_band_list(wrong)) << wrong;
}

TEST(BandList, IsCheckedAgainstWhatTheModemHas)
{
    const BandSettings lte_only = *parse_band_list("B1,B3");
    const BandSettings listed = *parse_band_list("B1,B3,B7,n78");
    EXPECT_EQ(first_unsupported(*parse_band_list("B7,n78"), listed, listed).view(), "");
    EXPECT_EQ(first_unsupported(*parse_band_list("B8"), lte_only, listed).view(), "B8");
    EXPECT_EQ(first_unsupported(*parse_band_list("B1,n1"), lte_only, listed).view(), "n1");
    // A modem that lists nothing may have more bands than those in use, but no other technology.
    EXPECT_EQ(first_unsupported(*parse_band_list("B8"), lte_only, {}).view(), "");
    EXPECT_EQ(first_unsupported(*parse_band_list("n78"), lte_only, {}).view(), "n78");
}

TEST(ModeFamilies, ReadWhatModemsPrintAndWriteIt)
{
    for (const ModeRow &row : mode_rows) {
        const ModeFamily &family = mode_family_of(row.question);
        const auto setting = read_mode(family, row.reply);
        EXPECT_EQ(setting.has_value(), row.mode != nullptr) << row.reply;
        if (!setting || row.mode == nullptr)
            continue;
        EXPECT_STREQ(radio_mode_name(setting->mode), row.mode) << row.reply;
        EXPECT_STREQ(compose_mode(family, setting->value.view()).c_str(), row.command) << row.reply;
        for (size_t end = 0; end < std::string_view{row.reply}.size(); end++)
            read_mode(family, std::string{row.reply, end});
    }
}

TEST(ModeFamilies, TakeTheNumbersOfSierraFromTheirNames)
{
    const ModeFamily &sierra = mode_family_of("AT!SELRAT?");
    constexpr char newer[] = "\r\n!SELRAT: Index, Name\r\n00, Automatic\r\n01, WCDMA Only\r\n06, LTE Only\r\n"
                             "11, WCDMA and LTE Only\r\n20, NR 5G Only\r\n21, LTE and NR 5G Only\r\n"
                             "22, WCDMA and NR 5G Only\r\n\r\nOK\r\n";
    constexpr char older[] = "\r\n!SELRAT: Index, Name\r\n00, Automatic\r\n01, UMTS 3G Only\r\n04, LTE Only\r\n"
                             "05, 5G Only\r\n0E, UMTS and LTE Only\r\nOK\r\n";
    const struct {
        RadioMode mode;
        const char *newer;
        const char *older;
    } rows[] = {{RadioMode::automatic, "00", "00"}, {RadioMode::only_4g, "06", "04"}, {RadioMode::only_5g, "20", "05"},
                {RadioMode::only_4g_5g, "21", ""},  {RadioMode::only_3g, "01", "01"}, {RadioMode::only_2g, "", ""},
                {RadioMode::other, "", ""}};
    for (const auto &row : rows) {
        EXPECT_EQ(values_of(sierra, row.mode, newer).view(), row.newer);
        EXPECT_EQ(values_of(sierra, row.mode, older).view(), row.older);
    }
}

TEST(RadioMode, IsAWord)
{
    for (const char *word : {"auto", "4g", "5g", "4g+5g", "3g", "2g"})
        EXPECT_STREQ(radio_mode_name(parse_radio_mode(word)), word);
    for (const char *word : {"", "other", "6g", "4G", "4g+"})
        EXPECT_EQ(parse_radio_mode(word), RadioMode::other) << word;
}

} // namespace radio_settings_test
