#include <string>

#include <gtest/gtest.h>

#include "drivers/quectel_cells.h"
#include "tests/unit/rows.h"

namespace quectel_cells_test {

std::string cells_of(std::string_view reply, void (*add)(std::string_view, json_object *))
{
    const Json array{json_object_new_array()};
    add(reply, array.get());
    return json_object_to_json_string_ext(array.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

const ReplyRow<const char *> carrier_rows[] = {
    {"two carriers of an old firmware",
     "AT+QCAINFO\r\r\n+QCAINFO: \"pss\",250,50,\"LTE BAND 1\",1,277,-97,-9,-71,15\r\n"
     "+QCAINFO: \"sss\",1600,100,\"LTE BAND 3\",2,38,-96,-10,-76,11\r\n\r\nOK\r\n",
     R"([{"type":"PSS","state":"Registered","freq":"250","band":"LTE BAND 1","bandwidth":"10M","pcid":"277","rsrp":"-97","rsrq":"-9","rssi":"-71","sinr":"15"},)"
     R"({"type":"SSS","state":"activated","freq":"1600","band":"LTE BAND 3","bandwidth":"20M","pcid":"38","rsrp":"-96","rsrq":"-10","rssi":"-76","sinr":"11"}])"},
    {"the words are searched in the rest of the reply, not in the line",
     "+QCAINFO: \"sss\",1,6,\"A\",0,1,1,1,1,1\r\n+QCAINFO: \"pss\",2,15,\"B\",0,1,1,1,1,1\r\nOK\r\n",
     R"([{"type":"PSS","state":"No serving","freq":"1","band":"A","bandwidth":"1.4M","pcid":"1","rsrp":"1","rsrq":"1","rssi":"1","sinr":"1"},)"
     R"({"type":"PSS","state":"No serving","freq":"2","band":"B","bandwidth":"3M","pcid":"1","rsrp":"1","rsrq":"1","rssi":"1","sinr":"1"}])"},
    {"states without a name", "+QCAINFO: \"sss\",1,7,\"A\",3,1\r\nOK\r\n",
     R"([{"type":"SSS","state":"-","freq":"1","band":"A","bandwidth":"-","pcid":"1"}])"},
    {"secondary states", "+QCAINFO: \"sss\",1,25,\"A\",0,1\r\n+QCAINFO: \"sss\",1,75,\"A\",1,1\r\nOK\r\n",
     R"([{"type":"SSS","state":"Deconfigured","freq":"1","band":"A","bandwidth":"5M","pcid":"1"},)"
     R"({"type":"SSS","state":"deactivated","freq":"1","band":"A","bandwidth":"15M","pcid":"1"}])"},
    {"EG18 says pcc and scc",
     "\r\n+QCAINFO: \"pcc\",476,50,\"LTE BAND 1\",1,189,-104,-9,-77,18\r\n"
     "+QCAINFO: \"scc\",6200,50,\"LTE BAND 20\",2,21,-88,-10,-59,13\r\nDL\r\nOK\r\n",
     "[]"},
    {"RG500 says PCC", "\r\n+QCAINFO: \"PCC\",150,100,\"LTE BAND 1\",1,1,-89,-10,-59,15\r\n\r\nOK\r\n", "[]"},
    {"a line that stops early", "+QCAINFO: \"pss\"\r\nOK\r\n", R"([{"type":"PSS"}])"},
    {"no carriers", "\r\nOK\r\n", "[]"},
    {"nothing", "", "[]"},
};

TEST(Carriers, AreTheLinesOfPrimaryAndSecondaryServingCells)
{
    for (const auto &row : carrier_rows)
        EXPECT_EQ(cells_of(row.reply, add_carriers), row.expected) << row.what;
}

const ReplyRow<const char *> serving_rows[] = {
    {"EC20 on TDD LTE",
     "\r\n+QENG: "
     "\"servingcell\",\"NOCONN\",\"LTE\",\"TDD\",460,00,C412C83,401,38950,40,5,5,247C,-90,-7,-62,24,37\r\n\r\nOK\r\n",
     R"([{"type":"servingcell","state":"NOCONN","mode":"TDD","mcc":"460","mnc":"00","cellid":"C412C83","pcid":"401","earfcn":"38950","band":"40","ul_bandwidth":"20M","dl_bandwidth":"20M","tac":"247C","rsrp":"-90","rsrq":"-7","rssi":"-62","sinr":"24","srxlev":"37","rat":"LTE"}])"},
    {"a bandwidth that has no name, and the S level missing",
     "+QENG: \"servingcell\",\"LIMSRV\",\"LTE\",\"FDD\",1,2,3,4,5,6,7,9,8,-1,-2,-3,4\r\nOK\r\n",
     R"([{"type":"servingcell","state":"LIMSRV","mode":"FDD","mcc":"1","mnc":"2","cellid":"3","pcid":"4","earfcn":"5","band":"6","ul_bandwidth":"-","dl_bandwidth":"-","tac":"8","rsrp":"-1","rsrq":"-2","rssi":"-3","sinr":"4","rat":"LTE"}])"},
    {"EC25 on WCDMA, echo on",
     "AT+QENG=\"servingcell\"\r\r\n+QENG: "
     "\"servingcell\",\"NOCONN\",\"WCDMA\",310,410,DEA6,2883C,4385,84,254,-98,-7,-,-,-,-,-\r\n\r\nOK\r\n",
     R"([{"type":"servingcell","state":"NOCONN","mcc":"310","mnc":"410","lac":"DEA6","cellid":"2883C","uarfcn":"4385","psc":"84","rac":"254","rscp":"-98","ecio":"-7","phych":"-","sf":"-","slot":"-","speech_code":"-","commod":"-","rat":"WCDMA"}])"},
    {"BG96 on GSM",
     "\r\n+QENG: "
     "\"servingcell\",\"NOCONN\",\"GSM\",250,99,DC51,B919,26,50,-,-73,255,255,0,38,38,1,-,-,-,-,-,-,-,-,-,\"-"
     "\"\r\n\r\nOK\r\n",
     R"([{"type":"servingcell","state":"NOCONN","mcc":"250","mnc":"99","lac":"DC51","cellid":"B919","rxlev":"-73","rat":"GSM"}])"},
    {"TDSCDMA", "+QENG: \"servingcell\",\"NOCONN\",\"TDSCDMA\",460,00,A,B,10,-71,-75,-3\r\nOK\r\n",
     R"([{"type":"servingcell","state":"NOCONN","mcc":"460","mnc":"00","lac":"A","cellid":"B","pfreq":"10","rssi":"-71","rscp":"-75","ecio":"-3","rat":"TDSCDMA"}])"},
    {"CDMA keeps its own name", "+QENG: \"servingcell\",\"NOCONN\",\"CDMA1X\",460,03,A,B,283,-71,-5,-20\r\nOK\r\n",
     R"([{"type":"servingcell","state":"NOCONN","mcc":"460","mnc":"03","lac":"A","cellid":"B","bcch":"283","rxpwr":"-71","ecio":"-5","txpwr":"-20","rat":"CDMA1X"}])"},
    {"HDR anywhere in the text counts as CDMA",
     "+QENG: \"servingcell\",\"NOCONN\",\"XX\",460,03,A,B,283,-71,-5,-20\r\nHDR\r\nOK\r\n",
     R"([{"type":"servingcell","state":"NOCONN","mcc":"460","mnc":"03","lac":"A","cellid":"B","bcch":"283","rxpwr":"-71","ecio":"-5","txpwr":"-20","rat":"XX"}])"},
    {"eMTC is not listed", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"eMTC\",\"FDD\",274,02,44F5C,267\r\n\r\nOK\r\n",
     R"([{"type":"servingcell","state":"NOCONN","mcc":"FDD","mnc":"274","lac":"02","cellid":"44F5C"}])"},
    {"searching", "\r\n+QENG: \"servingcell\",\"SEARCH\"\r\n\r\nOK\r\n", "[]"},
    {"cut inside the technology", "+QENG: \"servingcell\",\"NOCONN\",\"LT", "[]"},
    {"no blank behind the colon", "+QENG:\"servingcell\",\"NOCONN\",\"LTE\",1\r\nOK\r\n", "[]"},
    {"nothing", "", "[]"},
};

TEST(ServingCell, IsReadByItsTechnology)
{
    for (const auto &row : serving_rows)
        EXPECT_EQ(cells_of(row.reply, add_serving_cells), row.expected) << row.what;
}

const ReplyRow<const char *> neighbour_rows[] = {
    {"EC20",
     "\r\n+QENG: \"neighbourcell intra\",\"LTE\",38950,401,-7,-90,-62,-20,37,6,22,6,46\r\n"
     "+QENG: \"neighbourcell inter\",\"LTE\",37900,-,-,-,-,-,-,0,22,6\r\n\r\nOK\r\n",
     R"([{"type":"neighbourcell","earfcn":"38950","cellid|pcid":"401","rat":"LTE"},{"type":"neighbourcell","earfcn":"37900","cellid|pcid":"-","rat":"LTE"}])"},
    {"EG25: LTE, then WCDMA",
     "\r\n+QENG: \"neighbourcell inter\",\"LTE\",3250,-,-,-,-,-,-,0,16,5\r\n"
     "+QENG: \"neighbourcell\",\"WCDMA\",3062,3,16,2,-,-,-,-\r\n\r\nOK\r\n",
     R"([{"type":"neighbourcell","earfcn":"3250","cellid|pcid":"-","rat":"LTE"},{"type":"neighbourcell","uarfcn":"3062","rat":"WCDMA"}])"},
    {"WCDMA before LTE is told by the rest of the reply",
     "+QENG: \"neighbourcell\",\"WCDMA\",3062,3\r\n+QENG: \"neighbourcell intra\",\"LTE\",38950,401\r\nOK\r\n",
     R"([{"type":"neighbourcell","earfcn":"3062","cellid|pcid":"3","rat":"LTE"},{"type":"neighbourcell","earfcn":"38950","cellid|pcid":"401","rat":"LTE"}])"},
    {"GSM", "+QENG: \"neighbourcell\",\"GSM\",94,3,14,50,255,0,0,-1920,0\r\nOK\r\n",
     R"([{"type":"neighbourcell","rat":"GSM"}])"},
    {"another technology", "+QENG: \"neighbourcell\",\"NR5G\",94\r\nOK\r\n", R"([{"type":"neighbourcell"}])"},
    {"none", "\r\nOK\r\n", "[]"},
    {"nothing", "", "[]"},
};

TEST(NeighbourCells, AreReadByTheirTechnology)
{
    for (const auto &row : neighbour_rows)
        EXPECT_EQ(cells_of(row.reply, add_neighbour_cells), row.expected) << row.what;
}

TEST(CarrierAggregation, NeedsAPrimaryAndASecondaryCarrier)
{
    EXPECT_TRUE(has_two_carriers("+QCAINFO: \"pss\",1\r\n+QCAINFO: \"sss\",2\r\nOK\r\n"));
    EXPECT_TRUE(has_two_carriers("+QCAINFO: \"pcc\",1\r\n+QCAINFO: \"scc\",2\r\nOK\r\n"));
    for (const char *reply : {"+QCAINFO: \"pcc\",1\r\nOK\r\n", "+QCAINFO: \"pss\",1\r\n+QCAINFO: \"scc\",2\r\nOK\r\n",
                              "+QCAINFO: \"PCC\",1\r\n+QCAINFO: \"SCC\",2\r\nOK\r\n", "\r\nOK\r\n", ""})
        EXPECT_FALSE(has_two_carriers(reply)) << reply;
}

} // namespace quectel_cells_test
