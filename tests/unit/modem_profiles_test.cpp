#include <string>

#include <gtest/gtest.h>

#include "modem_under_test.h"
#include "tests/paths.h"

namespace modem_profiles_test {

using namespace simulator;

constexpr char profiles[] = SOURCE_ROOT "/simulator/profiles";

// The profile with some variables set ("rat=GSM"), its echo off.
ModemUnderTest modem_of(const std::string &name, const std::string &setting = "")
{
    ModemOptions options;
    options.variables["echo"] = "0";
    if (const size_t equals = setting.find('='); equals != std::string::npos)
        options.variables[setting.substr(0, equals)] = setting.substr(equals + 1);
    return ModemUnderTest(load_profile(profiles, name), options);
}

struct ReplyRow {
    const char *profile;
    const char *setting;
    const char *command;
    const char *reply;
};

// clang-format off
const ReplyRow reply_rows[] = {
    {"EC25", "", "ATI", "\r\nQuectel\r\nEC25\r\nRevision: EC25EFAR06A03M4G\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+GSN", "\r\n861536030123456\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CGSN", "\r\n861536030123456\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CIMI", "\r\n232031234567890\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QCCID", "\r\n+QCCID: 89430300001234567890\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CSQ", "\r\n+CSQ: 31,99\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CREG?", "\r\n+CREG: 0,1\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CGREG?", "\r\n+CGREG: 0,1\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CEREG?", "\r\n+CEREG: 0,1\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+COPS?", "\r\n+COPS: 0,0,\"T-Mobile A\",7\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CPIN?", "\r\n+CPIN: READY\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QNWINFO", "\r\n+QNWINFO: \"FDD LTE\",\"23203\",\"LTE BAND 3\",1300\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QCSQ", "\r\n+QCSQ: \"LTE\",51,-86,118,-11\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QCAINFO", "\r\nERROR\r\n"},
    {"EC25", "", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",232,03,1D6A50B,188,1300,3,5,5,2616,-86,-11,-51,12,40\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QENG=\"neighbourcell\"", "\r\n+QENG: \"neighbourcell intra\",\"LTE\",1300,188,-11,-86,-51,-20,40,4,12,10,62\r\n+QENG: \"neighbourcell intra\",\"LTE\",1300,396,-14,-93,-62,-20,40,4,12,10,62\r\n+QENG: \"neighbourcell inter\",\"LTE\",6300,-,-,-,-,-,-,0,10,7\r\n+QENG: \"neighbourcell inter\",\"LTE\",3250,-,-,-,-,-,-,0,16,5\r\n+QENG: \"neighbourcell\",\"WCDMA\",10836,3,16,2,-,-,-,-\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0x93,0x80800c5,0x0\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QCFG=\"nwscanmode\"", "\r\n+QCFG: \"nwscanmode\",0\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CGDCONT?", "\r\n+CGDCONT: 1,\"IPV4V6\",\"\",\"0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0\",0,0,0,0\r\n+CGDCONT: 2,\"IPV4V6\",\"ims\",\"0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0\",0,0,0,0\r\n+CGDCONT: 3,\"IPV4V6\",\"sos\",\"0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0\",0,0,0,0\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+QICSGP=1", "\r\n+QICSGP: 3,\"\",\"\",\"\",0\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CFUN?", "\r\n+CFUN: 1\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CGMI", "\r\nQuectel\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CGMM", "\r\nEC25\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CGMR", "\r\nEC25EFAR06A03M4G\r\n\r\nOK\r\n"},
    {"EC25", "", "AT+CGATT?", "\r\n+CGATT: 1\r\n\r\nOK\r\n"},
    {"EC25", "rat=WCDMA", "AT+QNWINFO", "\r\n+QNWINFO: \"HSPA+\",\"23203\",\"WCDMA 2100\",10836\r\n\r\nOK\r\n"},
    {"EC25", "rat=WCDMA", "AT+QCSQ", "\r\n+QCSQ: \"WCDMA\",61,-61,-6\r\n\r\nOK\r\n"},
    {"EC25", "rat=WCDMA", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"WCDMA\",232,03,3AB2,B55EEFF,10836,352,1,-61,-6,-,-,-,-,-\r\n\r\nOK\r\n"},
    {"EC25", "rat=WCDMA", "AT+QENG=\"neighbourcell\"", "\r\n+QENG: \"neighbourcell\",\"WCDMA\",10836,-723,398,-880,-155,6,-32768,-\r\n+QENG: \"neighbourcell\",\"WCDMA\",10836,-723,331,-870,-155,2,-32768,-\r\n\r\nOK\r\n"},
    {"EC25", "rat=WCDMA", "AT+CEREG?", "\r\n+CEREG: 0,0\r\n\r\nOK\r\n"},
    {"EC25", "rat=GSM", "AT+QNWINFO", "\r\n+QNWINFO: \"EDGE\",\"23203\",\"GSM 900\",1\r\n\r\nOK\r\n"},
    {"EC25", "rat=GSM", "AT+QCSQ", "\r\n+QCSQ: \"GSM\",75\r\n\r\nOK\r\n"},
    {"EC25", "rat=GSM", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"GSM\",232,03,2BC6,162C,58,1,-,-75,255,255,0,22,-28,1,-,-,-,-,-,-,-,-,-,\"-\"\r\n\r\nOK\r\n"},
    {"EC25", "rat=GSM", "AT+QENG=\"neighbourcell\"", "\r\n+QENG: \"neighbourcell\",\"GSM\",94,3,14,50,255,0,0,-1920,0\r\n+QENG: \"neighbourcell\",\"GSM\",93,3,14,50,255,0,0,-1920,0\r\n\r\nOK\r\n"},
    {"EC25", "rat=GSM", "AT+CSQ", "\r\n+CSQ: 19,99\r\n\r\nOK\r\n"},
    {"EC25", "rat=NOSERVICE", "AT+QNWINFO", "\r\n+QNWINFO: No Service\r\n\r\nOK\r\n"},
    {"EC25", "rat=NOSERVICE", "AT+QCSQ", "\r\n+QCSQ: \"NOSERVICE\"\r\n\r\nOK\r\n"},
    {"EC25", "rat=NOSERVICE", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"SEARCH\"\r\n\r\nOK\r\n"},
    {"EC25", "rat=NOSERVICE", "AT+QENG=\"neighbourcell\"", "\r\nOK\r\n"},
    {"EC25", "rat=NOSERVICE", "AT+CSQ", "\r\n+CSQ: 99,99\r\n\r\nOK\r\n"},
    {"EC25", "rat=NOSERVICE", "AT+COPS?", "\r\n+COPS: 0\r\n\r\nOK\r\n"},
    {"EC25", "rat=NOSERVICE", "AT+CREG?", "\r\n+CREG: 0,2\r\n\r\nOK\r\n"},
    {"EC25", "registration=3", "AT+CREG?", "\r\n+CREG: 0,3\r\n\r\nOK\r\n"},
    {"EC25", "registration=3", "AT+CEREG?", "\r\n+CEREG: 0,1\r\n\r\nOK\r\n"},
    {"EC25", "registration=5", "AT+CREG?", "\r\n+CREG: 0,5\r\n\r\nOK\r\n"},
    {"EC25", "creg_n=2", "AT+CREG?", "\r\n+CREG: 2,1,\"2616\",\"1D6A50B\",7\r\n\r\nOK\r\n"},
    {"EC25", "cops_format=2", "AT+COPS?", "\r\n+COPS: 0,2,\"23203\",7\r\n\r\nOK\r\n"},
    {"EC25", "pin=SIM PIN", "AT+CPIN?", "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n"},
    {"EC25", "pin=SIM PUK", "AT+CPIN?", "\r\n+CPIN: SIM PUK\r\n\r\nOK\r\n"},
    {"EC25", "pin=NOSIM", "AT+CPIN?", "\r\n+CME ERROR: 10\r\n"},
    {"EC25", "pin=FAILURE", "AT+CPIN?", "\r\n+CME ERROR: 13\r\n"},
    {"EC25", "pin=SIM PIN", "AT+CIMI", "\r\n+CME ERROR: 11\r\n"},
    {"EC25", "pin=NOSIM", "AT+QCCID", "\r\n+CME ERROR: 10\r\n"},
    {"EC25", "pin=SIM PIN", "AT+COPS?", "\r\n+COPS: 0\r\n\r\nOK\r\n"},
    {"EC25", "state=CONNECT", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"CONNECT\",\"LTE\",\"FDD\",232,03,1D6A50B,188,1300,3,5,5,2616,-86,-11,-51,12,40\r\n\r\nOK\r\n"},
    {"EP06", "", "ATI", "\r\nQuectel\r\nEP06\r\nRevision: EP06ELAR03A08M4G\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QCCID", "\r\n+QCCID: 8939560000000123456F\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QNWINFO", "\r\n+QNWINFO: \"FDD LTE\",\"22288\",\"LTE BAND 3\",1500\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QCSQ", "\r\n+QCSQ: \"LTE\",56,-84,205,-9\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",222,88,4CAA71F,28,1500,3,3,3,77B8,-84,-9,-56,21,35\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QENG=\"neighbourcell\"", "\r\n+QENG: \"neighbourcell intra\",\"LTE\",1500,28,-9,-84,-56,0,35,4,10,2,62\r\n+QENG: \"neighbourcell inter\",\"LTE\",3350,20,-12,-86,-56,0,9,2,6,6\r\n+QENG: \"neighbourcell inter\",\"LTE\",6300,-,-,-,-,-,0,6,6,1,-,-,-,-\r\n+QENG: \"neighbourcell\",\"WCDMA\",3063,0,14,62,84,-1010,-100,17\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QCAINFO", "\r\n+QCAINFO: \"pcc\",1500,50,\"LTE BAND 3\",1,28,-84,-9,-56,21\r\n+QCAINFO: \"scc\",3350,100,\"LTE BAND 7\",1,20,-86,-12,-56,0\r\n\r\nOK\r\n"},
    {"EP06", "ca=0", "AT+QCAINFO", "\r\n+QCAINFO: \"pcc\",1500,50,\"LTE BAND 3\",1,28,-84,-9,-56,21\r\n\r\nOK\r\n"},
    {"EP06", "rat=WCDMA", "AT+QCAINFO", "\r\nOK\r\n"},
    {"EP06", "rat=WCDMA", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"WCDMA\",222,88,3AB2,B55EEFF,3063,352,1,-82,-7,-,-,-,-,-\r\n\r\nOK\r\n"},
    {"EP06", "rat=WCDMA", "AT+QCSQ", "\r\n+QCSQ: \"WCDMA\",77,-82,-7\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+COPS?", "\r\n+COPS: 0,0,\"VERY\",7\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0x90,0x1a0880800d5,0x0\r\n\r\nOK\r\n"},
    {"EP06", "", "AT+QCFG=\"nwscanmode\",1", "\r\n+CME ERROR: 3\r\n"},
    {"UC20", "", "ATI", "\r\nQuectel\r\nUC20\r\nRevision: UC20GQCR03A16E1G\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+QNWINFO", "\r\n+QNWINFO: \"HSDPA\",\"51503\",\"WCDMA 900\",3037\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+QCSQ", "\r\n+QCSQ: \"WCDMA\",79,-94,-15\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"WCDMA\",515,03,3AB2,B55EEFF,3037,352,1,-94,-15,-,-,-,-,-\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+QENG=\"neighbourcell\"", "\r\n+QENG: \"neighbourcell\",\"WCDMA\",3037,-723,398,-980,-155,6,-32768,-\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+QCAINFO", "\r\nERROR\r\n"},
    {"UC20", "", "AT+CREG?", "\r\n+CREG: 0,1\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+CEREG?", "\r\nERROR\r\n"},
    {"UC20", "", "AT+COPS?", "\r\n+COPS: 0,0,\"SMART\",2\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0x93\r\n\r\nOK\r\n"},
    {"UC20", "", "AT+QCFG=\"nwscanmode\",3", "\r\n+CME ERROR: 3\r\n"},
    {"UC20", "", "AT+QCFG=\"thermal/limit_rates\",0", "\r\nERROR\r\n"},
    {"UC20", "rat=GSM", "AT+QNWINFO", "\r\n+QNWINFO: \"EDGE\",\"51503\",\"GSM 1800\",58\r\n\r\nOK\r\n"},
    {"UC20", "rat=GSM", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"GSM\",515,03,2BC6,162C,58,40,-,-81,255,255,0,22,-28,1,-,-,-,-,-,-,-,-,-,\"-\"\r\n\r\nOK\r\n"},
    {"EC20", "", "ATI", "\r\nQuectel\r\nEC20F\r\nRevision: EC20CEHDLGR06A02M1G\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+CSUB", "\r\nSubEdition: V04\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+QNWINFO", "\r\n+QNWINFO: \"TDD LTE\",\"46000\",\"LTE BAND 40\",38950\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+QCSQ", "\r\n+QCSQ: \"LTE\",62,-90,176,-7\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+QENG=\"servingcell\"", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"TDD\",460,00,C412C83,401,38950,40,5,5,247C,-90,-7,-62,24,37\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+QENG=\"neighbourcell\"", "\r\n+QENG: \"neighbourcell intra\",\"LTE\",38950,401,-7,-90,-62,-20,37,6,22,6,46\r\n+QENG: \"neighbourcell inter\",\"LTE\",37900,-,-,-,-,-,-,0,22,6\r\n+QENG: \"neighbourcell inter\",\"LTE\",38098,-,-,-,-,-,-,0,22,6\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0xd0,0x1e200000095,0x0\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+QCCID", "\r\n+QCCID: 89860441190012345678\r\n\r\nOK\r\n"},
    {"EC20", "", "AT+COPS?", "\r\n+COPS: 0,0,\"CHINA MOBILE\",7\r\n\r\nOK\r\n"},
    {"EC20", "rat=GSM", "AT+QENG=\"servingcell\"", "\r\n+QENG:\"servingcell\",\"NOCONN\",\"GSM\",460,00,550A,2BB9,23,94,0,-69,5,14,4,0,0,0,-,-,-,-,-,-,-,-,-,\"-\"\r\n\r\nOK\r\n"},
    {"unlisted", "", "ATI", "\r\nManufacturer: Simulated Modems\r\nModel: SM100\r\nRevision: SM100-01.02.03\r\nIMEI: 350000000000006\r\n\r\nOK\r\n"},
    {"unlisted", "", "AT+GSN", "\r\n350000000000006\r\n\r\nOK\r\n"},
    {"unlisted", "", "AT+CIMI", "\r\n001010123456789\r\n\r\nOK\r\n"},
    {"unlisted", "", "AT+CSQ", "\r\n+CSQ: 28,99\r\n\r\nOK\r\n"},
    {"unlisted", "", "AT+CREG?", "\r\n+CREG: 0,1\r\n\r\nOK\r\n"},
    {"unlisted", "", "AT+COPS?", "\r\n+COPS: 0,0,\"Test Network\",7\r\n\r\nOK\r\n"},
    {"unlisted", "", "AT+CPIN?", "\r\n+CPIN: READY\r\n\r\nOK\r\n"},
    {"unlisted", "", "AT+QNWINFO", "\r\nERROR\r\n"},
    {"unlisted", "", "AT+QCSQ", "\r\nERROR\r\n"},
};

// What changes by a write, and is read back.
const ReplyRow write_rows[] = {
    // profile  write                                                                  read                         reply
    {"EC25", "AT+QCFG=\"nwscanmode\",1",                                               "AT+QCFG=\"nwscanmode\"",    "\r\n+QCFG: \"nwscanmode\",1\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"nwscanmode\",1",                                               "AT+QCSQ",                   "\r\n+QCSQ: \"GSM\",75\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"NWSCANMODE\",2,1",                                             "AT+QNWINFO",                "\r\n+QNWINFO: \"HSPA+\",\"23203\",\"WCDMA 2100\",10836\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"nwscanmode\",3",                                               "AT+CREG?",                  "\r\n+CREG: 0,1\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"band\",0,1a0000800d5,0",                                       "AT+QCFG=\"band\"",          "\r\n+QCFG: \"band\",0x93,0x1a0000800d5,0x0\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"band\",0,0x80a,0,1",                                           "AT+QCFG=\"band\"",          "\r\n+QCFG: \"band\",0x93,0x80a,0x0\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"band\",10,4,1",                                                "AT+QCFG=\"band\"",          "\r\n+QCFG: \"band\",0x10,0x4,0x1\r\n\r\nOK\r\n"},
    {"EP06", "AT+QCFG=\"band\",0,7e00000000000000000000000000000000000000000000ff000001a0880800d5,0", "AT+QCFG=\"band\"", "\r\n+QCFG: \"band\",0x90,0x7e00000000000000000000000000000000000000000000ff000001a0880800d5,0x0\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"thermal/limit_rates\",1",                                      "AT+QCFG=\"thermal/limit_rates\"", "\r\n+QCFG: \"thermal/limit_rates\",1\r\n\r\nOK\r\n"},
    {"EC25", "AT+QCFG=\"thermal/modem\",1,95,90",                                      "AT+QCFG=\"thermal/modem\"", "\r\n+QCFG: \"thermal/modem\",1,95,90\r\n\r\nOK\r\n"},
    {"UC20", "AT+CGDCONT=1,\"IP\",\"internet\"",                                       "AT+CGDCONT?",               "\r\n+CGDCONT: 1,\"IP\",\"internet\",\"0.0.0.0\",0,0,0,0\r\n\r\nOK\r\n"},
    {"UC20", "AT+CGDCONT=3,\"IPV4V6\",\"vzwinternet\"",                                "AT+QICSGP=3",               "\r\n+QICSGP: 3,\"vzwinternet\",\"\",\"\",0\r\n\r\nOK\r\n"},
    {"UC20", "AT+CGDCONT=1",                                                           "AT+CGDCONT?",               "\r\n\r\nOK\r\n"},
    {"EC25", "AT+QICSGP=1,1,\"web\",\"me\",\"secret\",2",                              "AT+QICSGP=1",               "\r\n+QICSGP: 1,\"web\",\"me\",\"secret\",2\r\n\r\nOK\r\n"},
    {"UC20", "AT+QICSGP=1,1,\"web\",\"me\",\"secret\",2",                              "AT+CGDCONT?",               "\r\n+CGDCONT: 1,\"IP\",\"web\",\"0.0.0.0\",0,0,0,0\r\n\r\nOK\r\n"},
    {"EC25", "AT+QICSGP=3,3,\"a\",\"\",\"\",0",                                        "AT+QICSGP=3",               "\r\n+QICSGP: 3,\"a\",\"\",\"\",0\r\n\r\nOK\r\n"},
    {"EC25", "AT+CREG=2",                                                              "AT+CREG?",                  "\r\n+CREG: 2,1,\"2616\",\"1D6A50B\",7\r\n\r\nOK\r\n"},
    {"EC25", "AT+CMEE=2",                                                              "AT+CPIN=1",                 "\r\n+CME ERROR: operation not allowed\r\n"},
    {"EC25", "AT+CFUN=4",                                                              "AT+QCSQ",                   "\r\n+QCSQ: \"NOSERVICE\"\r\n\r\nOK\r\n"},
    {"EC25", "AT+CFUN=4;+CFUN=0;+CFUN=1",                                              "AT+QCSQ",                   "\r\n+QCSQ: \"LTE\",51,-86,118,-11\r\n\r\nOK\r\n"},
    {"EC25", "AT+COPS=2",                                                              "AT+COPS?",                  "\r\n+COPS: 2\r\n\r\nOK\r\n"},
    {"EC25", "AT+COPS=2;+COPS=0",                                                      "AT+COPS?",                  "\r\n+COPS: 0,0,\"T-Mobile A\",7\r\n\r\nOK\r\n"},
    {"EC25", "AT+COPS=3,2",                                                            "AT+COPS?",                  "\r\n+COPS: 0,2,\"23203\",7\r\n\r\nOK\r\n"},
    {"EC25", "AT+COPS=1,2,\"23203\"",                                                  "AT+COPS?",                  "\r\n+COPS: 1,0,\"T-Mobile A\",7\r\n\r\nOK\r\n"},
};
// clang-format on

TEST(ModemProfiles, AllLoadAndHaveWhatARunNeeds)
{
    for (const Profile &profile : list_profiles(profiles)) {
        EXPECT_FALSE(profile.about.empty()) << profile.name;
        EXPECT_NE(profile.vendor_id, 0) << profile.name;
        EXPECT_GE(profile.at_interface(), 0) << profile.name;
        EXPECT_EQ(ModemUnderTest(profile).say("AT\r\n"), "AT\r\r\nOK\r\n") << profile.name;
    }
}

TEST(ModemProfiles, HaveTheirUsbIdsAndInterfaces)
{
    const Profile ec25 = load_profile(profiles, "EC25");
    EXPECT_EQ(ec25.vendor_id, 0x2c7c);
    EXPECT_EQ(ec25.product_id, 0x0125);
    EXPECT_EQ(ec25.at_interface(), 2);
    EXPECT_EQ(ec25.interface(4)->netdev, "wwan0");
    EXPECT_EQ(load_profile(profiles, "EP06").product_id, 0x0306);
    EXPECT_EQ(load_profile(profiles, "UC20").product_id, 0x9003);
    EXPECT_EQ(load_profile(profiles, "EC20").product_id, 0x9215);
    EXPECT_EQ(load_profile(profiles, "unlisted").at_interface(), 0);
}

TEST(ModemProfiles, AnswerAsTheModemDoes)
{
    for (const ReplyRow &row : reply_rows) {
        ModemUnderTest test = modem_of(row.profile, row.setting);
        EXPECT_EQ(test.say(std::string(row.command) + "\r\n", 500), row.reply)
            << row.profile << " " << row.setting << " " << row.command;
    }
}

TEST(ModemProfiles, ReadBackWhatWasWritten)
{
    for (const ReplyRow &row : write_rows) {
        ModemUnderTest test = modem_of(row.profile);
        EXPECT_EQ(test.say(std::string(row.setting) + "\r\n", 500), "\r\nOK\r\n") << row.setting;
        EXPECT_EQ(test.say(std::string(row.command) + "\r\n", 500), row.reply) << row.setting << ", " << row.command;
    }
}

TEST(ModemProfiles, AskForThePinAndCountItsTries)
{
    ModemUnderTest test = modem_of("EC25", "pin=SIM PIN");
    EXPECT_EQ(test.say("AT+CPIN=\"0000\"\r"), "\r\n+CME ERROR: 16\r\n");
    EXPECT_EQ(test.say("AT+QPINC?\r"), "\r\n+QPINC: \"SC\",2,10\r\n+QPINC: \"P2\",3,10\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CPIN=\"1234\"\r"), "\r\nOK\r\n\r\n+CPIN: READY\r\n");
    EXPECT_EQ(test.say("AT+CPIN?\r"), "\r\n+CPIN: READY\r\n\r\nOK\r\n");
    EXPECT_EQ(test.modem.variable("pin_tries"), "3");
}

TEST(ModemProfiles, WantThePukAfterThreeWrongPinsAlsoAfterARestart)
{
    ModemUnderTest test = modem_of("EC25", "pin=SIM PIN");
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(test.say("AT+CPIN=9999\r"), "\r\n+CME ERROR: 16\r\n");
    EXPECT_EQ(test.say("AT+CPIN=1234\r"), "\r\n+CME ERROR: 12\r\n");
    test.say("AT+CFUN=1,1\r");
    ASSERT_TRUE(test.modem.attached());
    EXPECT_EQ(test.say("AT+CPIN?\r"), "\r\n+CPIN: SIM PUK\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CPIN=\"1\",\"5555\"\r"), "\r\n+CME ERROR: 16\r\n");
    EXPECT_EQ(test.say("AT+CPIN=\"12345678\",\"5555\"\r"), "\r\nOK\r\n\r\n+CPIN: READY\r\n");
    EXPECT_EQ(test.modem.variable("puk_tries"), "10");
    EXPECT_EQ(test.modem.variable("pin_code"), "5555");
}

TEST(ModemProfiles, RestartWithWhatIsStoredAndSaySo)
{
    ModemUnderTest test = modem_of("EC25");
    test.say("AT+QCFG=\"band\",0,80a,0\rATE1\rAT+CREG=2\r");
    EXPECT_EQ(test.say("AT+CFUN=1,1\r", 20'000),
              "AT+CFUN=1,1\r\r\nOK\r\n\r\nRDY\r\n\r\n+CPIN: READY\r\n\r\n+QUSIM: 1\r\n\r\n+CFUN: 1\r\n"
              "\r\n+QIND: SMS DONE\r\n\r\n+QIND: PB DONE\r\n");
    EXPECT_EQ(test.say("AT+QCFG=\"band\"\r"), "\r\n+QCFG: \"band\",0x93,0x80a,0x0\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CREG?\r"), "\r\n+CREG: 0,1\r\n\r\nOK\r\n");
}

TEST(ModemProfiles, KnowEveryOperatorOnlyAfterAWhile)
{
    ModemUnderTest test = modem_of("EC25");
    EXPECT_EQ(test.say("AT+COPS=?\r", 19'999), "");
    EXPECT_EQ(test.listen(1),
              "\r\n+COPS: (2,\"T-Mobile A\",\"TMO A\",\"23203\",7),(1,\"T-Mobile A\",\"TMO A\",\"23203\",2),"
              "(3,\"Other\",\"Other\",\"00102\",7),,(0,1,2,3,4),(0,1,2)\r\n\r\nOK\r\n");
}

TEST(ModemProfiles, HaveAPortThatTalksWhenTheDeviceIsUnlisted)
{
    ModemUnderTest test = modem_of("unlisted");
    const std::vector<Event> events = test.events(1000);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].interface, 1);
    EXPECT_EQ(events[0].bytes, "$GPRMC,,V,,,,,,,,,,N*53\r\n");
}

} // namespace modem_profiles_test
