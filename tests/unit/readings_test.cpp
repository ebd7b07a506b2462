#include <gtest/gtest.h>

#include "platform/json.h"
#include "readings/cesq.h"
#include "readings/cops.h"
#include "readings/cpsi.h"
#include "readings/gstatus.h"
#include "readings/gtccinfo.h"
#include "readings/identity.h"
#include "readings/monsc.h"
#include "readings/qcainfo.h"
#include "readings/qcsq.h"
#include "readings/qeng.h"
#include "readings/qnwinfo.h"
#include "readings/registration.h"
#include "readings/report_json.h"
#include "readings/telit.h"
#include "readings/xmci.h"

// Forms of replies beside those of tests/data/transcripts: from makers' manuals, and what firmware is known to vary in.

namespace readings_test {

struct Row {
    const char *what;
    bool (*read)(std::string_view reply, Report &report);
    const char *reply;
    const char *expected; ///< the report without its quality
};

bool read_narrow_band_cnsmod(std::string_view reply, Report &report)
{
    report.model = "SIM7000E";
    return read_cnsmod(reply, report);
}

// clang-format off
const Row rows[] = {
    {"QENG, duplex mode not known", read_qeng_serving,
     "+QENG: \"servingcell\",\"LIMSRV\",\"LTE\",\"-\",262,03,F62927,277,250,1,3,3,8D40,-97,-10,-69,16,9,160,-\r\n",
     R"({"network": {"technology": "LTE", "mcc": "262", "mnc": "03", "modem_state": "LIMSRV"},
         "serving": {"band": "B1", "cell_id": 16132391, "tac": 36160, "pci": 277, "arfcn": 250, "bandwidth_dl_mhz": 10,
                     "bandwidth_ul_mhz": 10, "rssi_dbm": -69, "rsrp_dbm": -97, "rsrq_db": -10, "sinr_db": 16}})"},
    {"QENG, the line ends within the cell's number", read_qeng_serving,
     "+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",262,03,F629\r\n",
     R"({"network": {"technology": "LTE", "mcc": "262", "mnc": "03", "modem_state": "NOCONN"}, "serving": {"duplex": "FDD"}})"},
    {"QENG, the line ends within the level", read_qeng_serving,
     "+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",262,03,F62927,277,250,1,3,3,8D40,-9\r\n",
     R"({"network": {"technology": "LTE", "mcc": "262", "mnc": "03", "modem_state": "NOCONN"},
         "serving": {"band": "B1", "duplex": "FDD", "cell_id": 16132391, "tac": 36160, "pci": 277, "arfcn": 250,
                     "bandwidth_dl_mhz": 10, "bandwidth_ul_mhz": 10}})"},
    {"SERVINFO, GSM without a packet channel (GE910)", read_servinfo, "#SERVINFO: 1020,-55,\"vodafone NL\",\"20404\",61,00DE,00,0\r\n",
     R"({"network": {"technology": "GSM", "operator_name": "vodafone NL", "mcc": "204", "mnc": "04"},
         "serving": {"lac": 222, "arfcn": 1020, "rssi_dbm": -55}})"},
    {"COPS, a name in UCS2", read_cops, "+COPS: 0,0,\"004F0032\",7\r\n", R"({"network": {"technology": "LTE", "operator_name": "O2"}})"},
    {"COPS, a code as a name", read_cops, "+COPS: 0,0,\"2320312345\"\r\n", R"({"network": {"operator_name": "2320312345"}})"},
    {"COPS, a code of six digits", read_cops, "+COPS: 0,0,\"310260\"\r\n", R"({"network": {"operator_name": "310260"}})"},
    {"COPS, a name of eight digits", read_cops, "+COPS: 0,0,\"31026000\"\r\n", R"({"network": {"operator_name": "31026000"}})"},
    {"COPS, a code of eight digits", read_cops, "+COPS: 0,2,\"00101000\"\r\n", R"({})"},
    {"COPS, a name of letters that are digits", read_cops, "+COPS: 0,0,\"CAFEBEEF\"\r\n",
     R"({"network": {"operator_name": "CAFEBEEF"}})"},
    {"COPS, a short name", read_cops, "+COPS: 0,1,\"FACE\"\r\n", R"({"network": {"operator_name": "FACE"}})"},
    {"COPS, a unit that cannot be printed", read_cops, "+COPS: 0,0,\"0041009B\"\r\n",
     R"({"network": {"operator_name": "0041009B"}})"},
    {"QENG, TD-SCDMA (EC20 manual)", read_qeng_serving,
     "+QENG: \"servingcell\",\"NOCONN\",\"TDSCDMA\",460,00,550A,2BB9,10120,-70,-74,-24\r\n",
     R"({"network": {"technology": "WCDMA", "mcc": "460", "mnc": "00", "modem_state": "NOCONN"},
         "serving": {"cell_id": 11193, "lac": 21770, "arfcn": 10120, "rssi_dbm": -70, "rscp_dbm": -74, "ecio_db": -24}})"},
    {"QENG, neighbours seen from LTE without intra or inter (older firmware)", read_qeng_neighbours,
     "+QENG: \"neighbourcell\",\"LTE\",1350,157,-17,-95,-68,0\r\n",
     R"({"neighbours": [{"rat": "LTE", "arfcn": 1350, "pci": 157, "rsrp_dbm": -95, "rsrq_db": -17, "rssi_dbm": -68}]})"},
    {"QENG, neighbours seen from WCDMA", read_qeng_neighbours,
     "+QENG: \"neighbourcell\",\"LTE\",1350,157,-95,-17,4\r\n",
     R"({"neighbours": [{"rat": "LTE", "arfcn": 1350, "pci": 157, "rsrp_dbm": -95, "rsrq_db": -17}]})"},
    {"QENG, the NR line before the anchor's", read_qeng_serving,
     "+QENG: \"NR5G-NSA\",515,03,832,-76,21,-11\r\n+QENG: \"LTE\",\"FDD\",515,03,3359966,1,150,1,5,5,4AA3,-89,-13,-58,16\r\n",
     R"({"network": {"technology": "NR5G-NSA", "mcc": "515", "mnc": "03"},
         "serving": {"band": "B1", "duplex": "FDD", "cell_id": 53844326, "tac": 19107, "pci": 1, "arfcn": 150,
                     "bandwidth_dl_mhz": 20, "bandwidth_ul_mhz": 20, "rssi_dbm": -58, "rsrp_dbm": -89, "rsrq_db": -13,
                     "sinr_db": 16},
         "nr": {"pci": 832, "rsrp_dbm": -76, "rsrq_db": -11, "sinr_db": 21, "mcc": "515", "mnc": "03"}})"},
    {"QENG, a standalone cell with a field more than is known: the bandwidth is an index", read_qeng_serving,
     "+QENG: \"servingcell\",\"NOCONN\",\"NR5G-SA\",\"TDD\",310,260,18666712F,335,794E00,516270,41,12,-75,-11,5,1,-,7\r\n",
     R"({"network": {"technology": "NR5G-SA", "mcc": "310", "mnc": "260", "modem_state": "NOCONN"},
         "serving": {"band": "n41", "duplex": "TDD", "cell_id": 6549827887, "tac": 7949824, "pci": 335, "arfcn": 516270,
                     "bandwidth_dl_mhz": 100, "rsrp_dbm": -75, "rsrq_db": -11, "sinr_db": 5}})"},
    {"QNWINFO, two NR carriers beside LTE", read_qnwinfo,
     "+QNWINFO: \"FDD LTE\",\"51503\",\"-\",0\r\n+QNWINFO: \"TDD NR5G\",\"51503\",\"NR5G BAND 41\",528030\r\n"
     "+QNWINFO: \"FDD NR5G\",\"51503\",\"NR5G BAND 28\",152690\r\n",
     R"({"network": {"technology": "NR5G-NSA", "mcc": "515", "mnc": "03"}, "serving": {"arfcn": 0},
         "nr": {"band": "n41", "arfcn": 528030, "mcc": "515", "mnc": "03"}})"},
    {"QNWINFO, the NR line before LTE's", read_qnwinfo,
     "+QNWINFO: \"TDD NR5G\",\"51503\",\"NR5G BAND 41\",528030\r\n+QNWINFO: \"FDD LTE\",\"51503\",\"LTE BAND 1\",150\r\n",
     R"({"network": {"technology": "NR5G-NSA", "mcc": "515", "mnc": "03"}, "serving": {"band": "B1", "arfcn": 150},
         "nr": {"band": "n41", "arfcn": 528030, "mcc": "515", "mnc": "03"}})"},
    {"QCAINFO, an NR carrier before the primary one", read_qcainfo,
     "+QCAINFO: \"SCC\",648768,12,\"NR5G BAND 78\",832\r\n+QCAINFO: \"PCC\",1300,100,\"LTE BAND 3\",1,188,-86,-11,-51,12\r\n",
     R"({"network": {"technology": "NR5G-NSA"},
         "carriers": [{"role": "SCC", "rat": "NR5G", "band": "n78", "arfcn": 648768, "pci": 832, "bandwidth_mhz": 100},
                      {"role": "PCC", "rat": "LTE", "band": "B3", "arfcn": 1300, "pci": 188, "bandwidth_mhz": 20,
                       "rssi_dbm": -51, "rsrp_dbm": -86, "rsrq_db": -11, "sinr_db": 12}]})"},
    {"QNWINFO, the NR line says NSA (RM500Q)", read_qnwinfo,
     "+QNWINFO: \"FDD LTE\",\"46001\",\"LTE BAND 3\",1650\r\n+QNWINFO: \"NR5G-NSA\",\"46001\",\"NR5G BAND 78\",627264\r\n",
     R"({"network": {"technology": "NR5G-NSA", "mcc": "460", "mnc": "01"}, "serving": {"band": "B3", "arfcn": 1650},
         "nr": {"band": "n78", "arfcn": 627264, "mcc": "460", "mnc": "01"}})"},
    {"QCSQ, levels at the ends of their scales", read_qcsq,
     "+QCSQ: \"LTE\",113,-140,250,-20\r\n",
     R"({"network": {"technology": "LTE"}, "serving": {"rssi_dbm": -113, "rsrp_dbm": -140, "rsrq_db": -20, "sinr_db": 30}})"},
    {"QCSQ, beyond them", read_qcsq, "+QCSQ: \"LTE\",125,-157,251,-44\r\n", R"({"network": {"technology": "LTE"}})"},
    {"QCSQ, NR beside LTE, in front of it", read_qcsq, "+QCSQ: \"NR5G\",-82,-11,24\r\n+QCSQ: \"LTE\",-55,-86,190,-11\r\n",
     R"({"network": {"technology": "NR5G-NSA"}, "nr": {},
         "serving": {"rssi_dbm": -55, "rsrp_dbm": -86, "rsrq_db": -11, "sinr_db": 18}})"},
    {"QCSQ, TD-SCDMA", read_qcsq, "+QCSQ: \"TDSCDMA\",-70,-74,-5\r\n",
     R"({"network": {"technology": "WCDMA"}, "serving": {"rssi_dbm": -70, "rscp_dbm": -74, "ecio_db": -5}})"},
    {"CPSI, indices (A7670)", read_cpsi,
     "+CPSI: LTE,Online,460-00,0x333C,39589680,308,EUTRAN-BAND3,1300,5,0,14,43,53,19\r\n",
     R"({"network": {"technology": "LTE", "mcc": "460", "mnc": "00"},
         "serving": {"band": "B3", "cell_id": 39589680, "tac": 13116, "pci": 308, "arfcn": 1300, "bandwidth_dl_mhz": 20,
                     "rsrp_dbm": -98, "rsrq_db": -13, "sinr_db": 19}})"},
    {"CPSI, narrow band (SIM7000 manual)", read_cpsi,
     "+CPSI: LTE NB-IOT,Online,460-00,0x182D,187214780,220,EUTRAN-BAND8,3736,0,0,-9,-82,-67,15\r\n",
     R"({"network": {"technology": "NB-IoT", "mcc": "460", "mnc": "00"},
         "serving": {"band": "B8", "cell_id": 187214780, "tac": 6189, "pci": 220, "arfcn": 3736, "rssi_dbm": -67, "rsrp_dbm": -82, "rsrq_db": -9, "sinr_db": 15}})"},
    {"CPSI, the NR line before LTE's", read_cpsi,
     "+CPSI: NR5G_NSA,257,NR5G_BAND78,629952,-920,-110,153\r\n"
     "+CPSI: LTE,Online,460-11,0x5A1E,187214780,257,EUTRAN-BAND3,1825,4,4,-102,-924,-632,13\r\n",
     R"({"network": {"technology": "NR5G-NSA", "mcc": "460", "mnc": "11"},
         "serving": {"band": "B3", "cell_id": 187214780, "tac": 23070, "pci": 257, "arfcn": 1825, "bandwidth_dl_mhz": 15,
                     "bandwidth_ul_mhz": 15, "rssi_dbm": -63.2, "rsrp_dbm": -92.4, "rsrq_db": -10.2, "sinr_db": 13},
         "nr": {"band": "n78", "pci": 257, "arfcn": 629952, "rsrp_dbm": -92, "rsrq_db": -11, "sinr_db": 15.3}})"},
    {"ATI of a modem that prints labels, an extra number among them", read_ati,
     "Manufacturer: Sierra Wireless, Incorporated\r\nModel: MC7455\r\nRevision: SWI9X30C_02.24.05.06 r7040\r\n"
     "IMEI: 490154203237518\r\nIMEI SV: 16\r\nFSN: LQ650551234567\r\n+GCAP: +CGSM\r\n\r\nOK\r\n",
     R"({"modem": {"manufacturer": "Sierra Wireless, Incorporated", "model": "MC7455",
                   "revision": "SWI9X30C_02.24.05.06 r7040", "imei": "490154203237518"}})"},
    {"CNSMOD (SIM7600)", read_cnsmod, "+CNSMOD: 0,7\r\n", R"({"network": {"technology": "WCDMA"}})"},
    {"CNSMOD of a narrow-band modem", read_narrow_band_cnsmod, "+CNSMOD: 0,7\r\n",
     R"({"modem": {"model": "SIM7000E"}, "network": {"technology": "eMTC"}})"},
    {"CEREG without a technology: the area is a TAC", read_registration, "+CEREG: 2,1,\"1F00\",\"79D903\"\r\n",
     R"({"network": {"registration": "home"}, "serving": {"cell_id": 7985411, "tac": 7936}})"},
    {"C5GREG without a technology", read_registration, "+C5GREG: 2,5,\"14225C\",\"0000000C027F5065\"\r\n",
     R"({"network": {"registration": "roaming"}, "serving": {"cell_id": 51581505637, "tac": 1319516}})"},
    {"CREG without a technology: a LAC", read_registration, "+CREG: 2,1,\"84CD\",\"00D30173\"\r\n",
     R"({"network": {"registration": "home"}, "serving": {"cell_id": 13828467, "lac": 33997}})"},
    {"CEREG with power saving timers", read_registration,
     "+CEREG: 4,1,\"1206\",\"19E4A03\",7,,,\"00000000\",\"00111000\"\r\n",
     R"({"network": {"registration": "home", "technology": "LTE"}, "serving": {"cell_id": 27150851, "tac": 4614}})"},
    {"CEREG without a technology, with power saving timers", read_registration,
     "+CEREG: 4,1,\"1206\",\"19E4A03\",,00,,\"00000000\",\"00111000\"\r\n",
     R"({"network": {"registration": "home"}, "serving": {"tac": 4614}})"},
    {"GSTATUS, LTE (MC77xx)", read_gstatus,
     "System mode:   LTE             PS state:    Attached\r\nLTE band:      B7              LTE bw:      20 MHz\r\n"
     "LTE Rx chan:   3350            LTE Tx chan: 21350\r\nEMM state:     Registered      Normal Service\r\n"
     "RSSI (dBm):    -61             Tx Power:    0\r\nRSRP (dBm):    -93             TAC:         12AB (4779)\r\n"
     "RSRQ (dB):     -12             Cell ID:     01234567 (19088743)\r\nSINR (dB):     11.2\r\n",
     R"({"network": {"registration": "registered", "technology": "LTE"},
         "serving": {"band": "B7", "cell_id": 19088743, "tac": 4779, "arfcn": 3350, "bandwidth_dl_mhz": 20,
                     "rssi_dbm": -61, "rsrp_dbm": -93, "rsrq_db": -12, "sinr_db": 11.2},
         "carriers": [{"role": "PCC", "rat": "LTE", "band": "B7", "arfcn": 3350, "bandwidth_mhz": 20, "rssi_dbm": -61,
                       "rsrp_dbm": -93}]})"},
    {"GSTATUS, EN-DC with levels of NR's antennas alone (EM919x)", read_gstatus,
     "System mode:   ENDC            PS state:    Attached\r\nLTE band:      B3              LTE bw:      20 MHz\r\n"
     "NR5G(sub6) Rx0 RSSI (dBm):   -81.6\tNR5G(sub6) Rx1 RSSI (dBm):   -93.4\r\n"
     "NR5G band:       n78             NR5G bw:     100 MHz\r\nNR5G RSRP (dBm): -111            NR5G RSRQ (dB):  -11\r\n",
     R"({"network": {"technology": "NR5G-NSA"}, "serving": {"band": "B3", "bandwidth_dl_mhz": 20},
         "carriers": [{"role": "PCC", "rat": "LTE", "band": "B3", "bandwidth_mhz": 20}],
         "nr": {"band": "n78", "bandwidth_dl_mhz": 100, "rsrp_dbm": -111, "rsrq_db": -11}})"},
    {"GTCCINFO, WCDMA (FM150 manual)", read_gtccinfo,
     "+GTCCINFO:\r\nUMTS service cell:\r\n1,2,262,02,1389,1F5C481,29A6,B7,1,40,60,0,40,,\r\n",
     R"({"network": {"technology": "WCDMA", "mcc": "262", "mnc": "02"}, "serving": {"cell_id": 32883841, "lac": 5001}})"},
    {"GTCCINFO, the NR row before LTE's, a neighbour with its area", read_gtccinfo,
     "+GTCCINFO:\r\n1,9,262,02,,,648768,832,5078,500,20,76,76,60\r\n"
     "1,4,262,02,BFD3,002D4201,1300,30,103,100,16,42,42,26\r\n2,4,262,02,BFD3,002D4202,1300,190,,24,24,2\r\n",
     R"({"network": {"technology": "NR5G-NSA", "mcc": "262", "mnc": "02"},
         "serving": {"band": "B3", "cell_id": 2966017, "tac": 49107, "pci": 30, "arfcn": 1300, "bandwidth_dl_mhz": 20,
                     "rsrp_dbm": -99, "rsrq_db": -7, "sinr_db": 16},
         "nr": {"band": "n78", "pci": 832, "arfcn": 648768, "bandwidth_dl_mhz": 100, "rsrp_dbm": -81, "rsrq_db": -13.5,
                "sinr_db": 20, "mcc": "262", "mnc": "02"},
         "neighbours": [{"rat": "LTE", "pci": 190, "arfcn": 1300, "rsrp_dbm": -117, "rsrq_db": -19}]})"},
    {"XMCI, LTE with a neighbour (L850)", read_xmci,
     "+XMCI: 4,510,11,\"0x7D08\",\"0x04E23C06\",\"0x0016\",\"0x00000F1E\",\"0x00005570\",\"0xFFFFFFFF\",64,28,29,"
     "\"0x00000003\",\"0x00000000\"\r\n+XMCI: 5,000,000,\"0xFFFE\",\"0xFFFFFFFF\",\"0x0099\",\"0x00000F1E\","
     "\"0xFFFFFFFF\",\"0xFFFFFFFF\",54,12,255,\"0x7FFFFFFF\",\"0x00000000\"\r\n",
     R"({"network": {"technology": "LTE", "mcc": "510", "mnc": "11"},
         "serving": {"cell_id": 81935366, "tac": 32008, "pci": 22, "arfcn": 3870, "rsrp_dbm": -77, "rsrq_db": -6},
         "neighbours": [{"rat": "LTE", "arfcn": 3870, "pci": 153, "rsrp_dbm": -87, "rsrq_db": -14}]})"},
    {"XMCI, WCDMA", read_xmci, "+XMCI: 2,510,11,\"0x1389\",\"0x01F5C481\",\"0x00B7\"\r\n",
     R"({"network": {"technology": "WCDMA", "mcc": "510", "mnc": "11"}, "serving": {"cell_id": 32883841, "lac": 5001}})"},
    {"RFSTS, WCDMA (HE910 manual)", read_rfsts,
     "#RFSTS: \"222 10\",10736,103,-5.0,-73,-69,9C4A,1,-17,64,19,1,1,000,5AB0F04,\"222885500518897\",\"I WIND\",3,4\r\n",
     R"({"network": {"technology": "WCDMA", "operator_name": "I WIND", "mcc": "222", "mnc": "10"},
         "serving": {"cell_id": 95096580, "lac": 40010, "psc": 103, "arfcn": 10736, "rssi_dbm": -69, "rscp_dbm": -73,
                     "ecio_db": -5}})"},
    {"RFSTS, GSM: no RSRP there (GE910 manual)", read_rfsts, "#RFSTS: \"222 01\",1013,-68,9C4A,1,33,5\r\n",
     R"({"network": {"technology": "GSM", "mcc": "222", "mnc": "01"},
         "serving": {"lac": 40010, "arfcn": 1013, "rssi_dbm": -68}})"},
    {"SMONI, LTE (PLS62 manual)", read_smoni, "^SMONI: 4G,6300,20,10,10,FDD,262,02,BF75,0345103,350,33,-94,-7,NOCONN\r\n",
     R"({"network": {"technology": "LTE", "mcc": "262", "mnc": "02"},
         "serving": {"band": "B20", "cell_id": 3428611, "tac": 49013, "pci": 350, "arfcn": 6300, "bandwidth_dl_mhz": 10,
                     "bandwidth_ul_mhz": 10, "rsrp_dbm": -94, "rsrq_db": -7}})"},
    {"SMONI, WCDMA", read_smoni, "^SMONI: 3G,10564,296,-7.5,-79,262,02,0143,00228FF,-92,-78,NOCONN\r\n",
     R"({"network": {"technology": "WCDMA", "mcc": "262", "mnc": "02"},
         "serving": {"cell_id": 141567, "lac": 323, "psc": 296, "arfcn": 10564, "rscp_dbm": -79, "ecio_db": -7.5}})"},
    {"SMONI, GSM", read_smoni, "^SMONI: 2G,71,-61,262,02,0143,83BA,33,33,3,6,G,NOCONN\r\n",
     R"({"network": {"technology": "GSM", "mcc": "262", "mnc": "02"},
         "serving": {"cell_id": 33722, "lac": 323, "arfcn": 71, "rssi_dbm": -61}})"},
    {"SMONI, no network", read_smoni, "^SMONI: 2G,SEARCH,SEARCH\r\n", R"({"network": {"technology": "none"}})"},
    {"MONSC, GSM (ME909s manual)", read_monsc, "^MONSC: GSM,460,00,3,94,23,2BB9,550A,-61,0,0\r\n",
     R"({"network": {"technology": "GSM", "mcc": "460", "mnc": "00"},
         "serving": {"cell_id": 11193, "lac": 21770, "bsic": 23, "arfcn": 94, "rssi_dbm": -61}})"},
    {"MONSC, the PCI in hexadecimal", read_monsc, "^MONSC: LTE,460,00,38400,D975244,1AB,24C8,-85,-10,-54\r\n",
     R"({"network": {"technology": "LTE", "mcc": "460", "mnc": "00"},
         "serving": {"cell_id": 228020804, "tac": 9416, "pci": 427, "arfcn": 38400, "rssi_dbm": -54, "rsrp_dbm": -85,
                     "rsrq_db": -10}})"},
    {"HCSQ, WCDMA (ME909s manual)", read_hcsq, "^HCSQ: \"WCDMA\",30,30,58\r\n",
     R"({"network": {"technology": "WCDMA"}, "serving": {"rssi_dbm": -91, "rscp_dbm": -91, "ecio_db": -3.5}})"},
    {"HCSQ, GSM", read_hcsq, "^HCSQ:\"GSM\",36,255\r\n",
     R"({"network": {"technology": "GSM"}, "serving": {"rssi_dbm": -85}})"},
    {"HCSQ, nothing measured", read_hcsq, "^HCSQ: \"LTE\",255,255,255,255\r\n", R"({"network": {"technology": "LTE"}})"},
    {"HCSQ, no service", read_hcsq, "^HCSQ: \"NOSERVICE\"\r\n", R"({"network": {"technology": "none"}})"},
    {"CESQ, NR alone", read_cesq, "+CESQ: 99,99,255,255,255,255,65,72,53\r\n",
     R"({"network": {"technology": "NR5G-SA"}, "serving": {"rsrp_dbm": -85, "rsrq_db": -11, "sinr_db": 3}})"},
    {"CESQ, NR beside LTE", read_cesq, "+CESQ: 99,99,255,255,20,57,65,72,255\r\n",
     R"({"network": {"technology": "NR5G-NSA"}, "serving": {"rsrp_dbm": -84, "rsrq_db": -10},
         "nr": {"rsrp_dbm": -85, "rsrq_db": -11}})"},
    {"CESQ, LTE and the old level of GSM", read_cesq, "+CESQ: 17,99,255,255,4,29,255,255,255\r\n",
     R"({"network": {"technology": "LTE"}, "serving": {"rsrp_dbm": -112, "rsrq_db": -18}})"},
    {"CESQ, nothing measured", read_cesq, "+CESQ: 99,99,255,255,255,255\r\n", "{}"},
};
// clang-format on

const char *text_of(const Json &object)
{
    return json_object_to_json_string_ext(object.get(), JSON_C_TO_STRING_PLAIN);
}

TEST(Readings, ReadTheFormsThatManualsAndFirmwareHave)
{
    for (const Row &row : rows) {
        Report report;
        EXPECT_TRUE(row.read(row.reply, report)) << row.what;
        const Json told{json_object_new_object()};
        add_report(told.get(), report);
        json_object_object_del(told.get(), "quality");
        // Both are written and read again, so that a number is compared by its text.
        const Json as_read{json_tokener_parse(text_of(told))};
        const Json expected{json_tokener_parse(row.expected)};
        ASSERT_NE(expected, nullptr) << row.what;
        EXPECT_TRUE(json_object_equal(as_read.get(), expected.get())) << row.what << ": " << text_of(told);
    }
}

// Which technology it is follows from which levels there are. Without one of them it could be another.
TEST(Readings, TellNoTechnologyFromHalfOfTelitsLevels)
{
    for (const char *const reply : {
             "#RFSTS: \"310 260\",66786,,-68,-13,2D18,255,,640,1,0,3089F02,\"310260123456789\",\"T-Mobile\",3,66\r\n",
             "#RFSTS: \"310 260\",66786,-101,,-13,2D18,255,,640,1,0,3089F02,\"310260123456789\",\"T-Mobile\",3,66\r\n",
         }) {
        Report report;
        EXPECT_FALSE(read_rfsts(reply, report)) << reply;
        EXPECT_EQ(report.technology, Technology::unknown) << reply;
    }
    Report report;
    EXPECT_FALSE(read_servinfo("#SERVINFO: 66786,-68,\"T-Mobile\",\"310260\",,2D18,640,3,-101\r\n", report));
    EXPECT_EQ(report.technology, Technology::unknown);
}

TEST(Readings, TakeDashesForNoText)
{
    Report report;
    read_cops("+COPS: 0,0,\"--\",7\r\n", report);
    EXPECT_TRUE(report.operator_name.empty());
}

// The model is asked for in another way then.
TEST(Readings, TakeNoNumberForAModel)
{
    Report report;
    EXPECT_TRUE(read_ati("\r\n332\r\n\r\nOK\r\n", report));
    EXPECT_TRUE(report.model.empty());
    EXPECT_TRUE(read_model("\r\nLM960\r\n\r\nOK\r\n", report));
    EXPECT_EQ(report.model.view(), "LM960");
}

} // namespace readings_test
