#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "apn/choices.h"
#include "tests/paths.h"

// The table of APNs that the package ships, and the cards that it must serve.

namespace apn_table_test {

struct CardRow {
    const char *country;
    const char *provider;
    SimCard card;
    const char *login; ///< "apn/user/password" of the first choice
};

const CardRow card_rows[] = {
    // networks
    {"Argentina", "Claro", {.imsi = "722310123456789", .mnc_length = 3}, "igprs.claro.com.ar/ctigprs/ctigprs999"},
    {"Australia", "Telstra", {.imsi = "505011234567890", .mnc_length = 2}, "telstra.wap//"},
    {"Austria", "A1", {.imsi = "232011234567890", .mnc_length = 2}, "a1.net/ppp@a1plus.at/ppp"},
    {"Austria", "Drei", {.imsi = "232101234567890", .mnc_length = 2}, "drei.at//"},
    {"Bangladesh", "Grameenphone", {.imsi = "470011234567890", .mnc_length = 2}, "gpinternet//"},
    {"Belgium", "Base", {.imsi = "206201234567890", .mnc_length = 2}, "gprs.base.be/base/base"},
    {"Belgium", "Proximus", {.imsi = "206011234567890", .mnc_length = 2}, "internet.proximus.be//"},
    {"Brazil", "Vivo", {.imsi = "724061234567890", .mnc_length = 2}, "zap.vivo.com.br/vivo/vivo"},
    {"Brazil", "TIM", {.imsi = "724031234567890", .mnc_length = 2}, "timbrasil.br/tim/tim"},
    {"Canada", "Rogers", {.imsi = "302720123456789", .mnc_length = 3}, "ltemobile.apn//"},
    {"Canada", "Bell", {.imsi = "302610123456789", .mnc_length = 3}, "pda.bell.ca//"},
    {"Chile", "Claro", {.imsi = "730031234567890", .mnc_length = 2}, "bam.clarochile.cl/clarochile/clarochile"},
    {"China", "Telecom", {.imsi = "460111234567890", .mnc_length = 2}, "ctnet/ctnet@mycdma.cn/vnet.mobi"},
    {"Colombia", "Claro", {.imsi = "732101123456789", .mnc_length = 3}, "internet.comcel.com.co/COMCELWEB/COMCELWEB"},
    {"Croatia", "A1", {.imsi = "219101234567890", .mnc_length = 2}, "data.vip.hr/38591/38591"},
    {"Czechia", "O2", {.imsi = "230021234567890", .mnc_length = 2}, "internet//"},
    {"Denmark", "3", {.imsi = "238061234567890", .mnc_length = 2}, "data.tre.dk//"},
    {"Egypt", "Vodafone", {.imsi = "602021234567890", .mnc_length = 2}, "internet.vodafone.net/internet/internet"},
    {"Estonia", "Tele2", {.imsi = "248031234567890", .mnc_length = 2}, "internet.tele2.ee/wap/wap"},
    {"Finland", "DNA", {.imsi = "244121234567890", .mnc_length = 2}, "internet//"},
    {"France", "Free", {.imsi = "208151234567890", .mnc_length = 2}, "free//"},
    {"Germany", "Telekom", {.imsi = "262011234567890", .mnc_length = 2}, "internet.v6.telekom/telekom/tm"},
    {"Germany", "Vodafone", {.imsi = "262021234567890", .mnc_length = 2}, "web.vodafone.de//"},
    {"India", "Jio", {.imsi = "405857123456789", .mnc_length = 3}, "jionet//"},
    {"Indonesia", "3", {.imsi = "510891234567890", .mnc_length = 2}, "3gprs/3gprs/3gprs"},
    {"Ireland", "Three", {.imsi = "272051234567890", .mnc_length = 2}, "3ireland.ie//"},
    {"Israel", "Pelephone", {.imsi = "425031234567890", .mnc_length = 2}, "internet.pelephone.net.il/pcl@3g/pcl"},
    {"Italy", "Iliad", {.imsi = "222501234567890", .mnc_length = 2}, "iliad//"},
    {"Japan", "Rakuten", {.imsi = "440111234567890", .mnc_length = 2}, "rakuten.jp//"},
    {"Kenya", "Safaricom", {.imsi = "639021234567890", .mnc_length = 2}, "safaricom/saf/data"},
    {"Korea", "LG U+", {.imsi = "450061234567890", .mnc_length = 2}, "internet.lguplus.co.kr//"},
    {"Malaysia", "Maxis", {.imsi = "502121234567890", .mnc_length = 2}, "unet/maxis/wap"},
    {"Korea", "SK Telecom", {.imsi = "450051234567890", .mnc_length = 2}, "lte.sktelecom.com//"},
    {"Mexico", "Telcel", {.imsi = "334020123456789", .mnc_length = 3}, "internet.itelcel.com/webgprs/webgprs2002"},
    {"Nigeria", "MTN", {.imsi = "621301234567890", .mnc_length = 2}, "web.gprs.mtnnigeria.net/web/web"},
    {"Norway", "Telenor", {.imsi = "242011234567890", .mnc_length = 2}, "telenor.smart//"},
    {"Poland", "Orange", {.imsi = "260031234567890", .mnc_length = 2}, "internet/internet/internet"},
    {"Portugal", "Vodafone", {.imsi = "268011234567890", .mnc_length = 2}, "net2.vodafone.pt/vodafone/vodafone"},
    {"Romania", "Orange", {.imsi = "226101234567890", .mnc_length = 2}, "net//"},
    {"Russia", "Beeline", {.imsi = "250991234567890", .mnc_length = 2}, "internet.beeline.ru/beeline/beeline"},
    {"Serbia", "mts", {.imsi = "220031234567890", .mnc_length = 2}, "gprsinternet/mts/064"},
    {"South Africa", "Vodacom", {.imsi = "655011234567890", .mnc_length = 2}, "internet//"},
    {"Spain", "Movistar", {.imsi = "214071234567890", .mnc_length = 2}, "telefonica.es/telefonica/telefonica"},
    {"Sweden", "Telia", {.imsi = "240011234567890", .mnc_length = 2}, "online.telia.se//"},
    {"Switzerland", "Sunrise", {.imsi = "228021234567890", .mnc_length = 2}, "internet/internet/internet"},
    {"United Kingdom", "EE", {.imsi = "234301234567890", .mnc_length = 2}, "everywhere/eesecure/secure"},
    {"United Kingdom", "O2", {.imsi = "234101234567890", .mnc_length = 2}, "mobile.o2.co.uk/o2web/password"},
    {"United States", "T-Mobile", {.imsi = "310260123456789", .mnc_length = 3}, "fast.t-mobile.com//"},
    {"United States", "Verizon", {.imsi = "311480123456789", .mnc_length = 3}, "vzwinternet//"},
    {"Vietnam", "Viettel", {.imsi = "452041234567890", .mnc_length = 2}, "v-internet//"},
    // providers on another's network
    {"United Kingdom", "giffgaff", {.imsi = "234101234567890", .spn = "giffgaff"}, "giffgaff.com/gg/p"},
    {"United Kingdom",
     "Tesco Mobile",
     {.imsi = "234101234567890", .gid1 = "0A"},
     "prepay.tesco-mobile.com/tescowap/password"},
    {"United Kingdom", "Lebara", {.imsi = "234151234567890", .spn = "LEBARA"}, "uk.lebara.mobi/wap/wap"},
    {"United Kingdom", "BT Mobile", {.imsi = "234301234567890", .gid1 = "C3"}, "btmobile.bt.com/bt/bt"},
    {"United Kingdom", "iD Mobile", {.imsi = "234201234567890", .gid1 = "0305"}, "id//"},
    {"Germany", "congstar", {.imsi = "262011234567890", .spn = "congstar"}, "internet.telekom/congstar/cs"},
    {"Germany", "ALDI TALK", {.imsi = "262031234567890", .spn = "ALDI TALK"}, "internet.eplus.de/eplus/internet"},
    {"Germany", "Tchibo", {.imsi = "262075001234567"}, "webmobil1//"},
    {"Germany", "Lycamobile", {.imsi = "262431234567890"}, "data.lycamobile.de/lmde/plus"},
    {"Netherlands", "Simpel", {.imsi = "204161234567890", .gid1 = "2F"}, "internet.access.nl//"},
    {"Netherlands", "Ben", {.imsi = "204161234567890", .spn = "Ben NL"}, "internet.ben//"},
    {"Spain", "DIGI", {.imsi = "214221234567890", .spn = "DigiMobil"}, "internet.digimobil.es/digi/digi"},
    {"Spain", "Tuenti", {.imsi = "214051234567890", .spn = "Tuenti"}, "tuenti.com/tuenti/tuenti"},
    {"Spain", "Pepephone", {.imsi = "214061234567890", .spn = "Pepephone"}, "gprsmov.pepephone.com//"},
    {"France", "NRJ Mobile", {.imsi = "208011234567890", .gid1 = "4E524A31"}, "ofnew.fr/orange/orange"},
    {"Italy", "ho.", {.imsi = "222101234567890", .gid1 = "20"}, "web.ho-mobile.it//"},
    {"Italy", "PosteMobile", {.imsi = "222101234567890", .spn = "PosteMobile"}, "internet.postemobile.it//"},
    {"Sweden", "Halebop", {.imsi = "240011234567890", .spn = "halebop"}, "halebop.telia.se//"},
    {"Canada", "Public Mobile", {.imsi = "302220123456789", .gid1 = "4D4F"}, "sp.mb.com//"},
    {"Canada", "Fizz", {.imsi = "302500123456789", .gid1 = "55"}, "mobile.bm//"},
    {"United States", "Mint", {.imsi = "310260123456789", .gid1 = "756D"}, "wholesale//"},
    {"United States", "Metro", {.imsi = "310260123456789", .gid1 = "6D38"}, "fast.metropcs.com//"},
    {"United States", "Google Fi", {.imsi = "310260971234567"}, "h2g2//"},
    {"United States", "MetroPCS", {.imsi = "310260123456789", .gid1 = "6D"}, "fast.metropcs.com//"},
    {"United States", "Visible", {.imsi = "311480123456789", .gid1 = "BAE1000000000000"}, "VSBLINTERNET//"},
    {"Japan",
     "au",
     {.imsi = "440501234567890", .mnc_length = 2},
     "uad5gn.au-net.ne.jp/685840734641020@uad5gn.au-net.ne.jp/KpyrR6BP"},
    {"Japan", "IIJmio", {.imsi = "440031234567890", .mnc_length = 2}, "iijmio.jp/mio@iij/iij"},
    {"Japan", "povo", {.imsi = "440541234567890", .spn = "povo"}, "povo.jp//"},
    {"Malaysia", "CelcomDigi", {.imsi = "502191234567890", .mnc_length = 2}, "celcom4g//"},
    {"Mexico", "Diri", {.imsi = "334140123456789", .spn = "DIRI", .mnc_length = 3}, "internet.diri.com//"},
    {"New Zealand", "One NZ", {.imsi = "530011234567890", .mnc_length = 2}, "vodafone//"},
    {"Qatar", "Ooredoo", {.imsi = "427011234567890", .mnc_length = 2}, "data//"},
    {"Spain", "Euskaltel", {.imsi = "214061234567890", .gid1 = "0008"}, "internet.euskaltel.mobi/CLIENTE/EUSKALTEL"},
    {"United States", "Consumer Cellular", {.imsi = "310410123456789", .gid1 = "2AC9", .mnc_length = 3}, "reseller//"},
    {"Japan", "UQ mobile", {.imsi = "440511234567890", .gid1 = "20"}, "uqmobile.jp/uq@uqmobile.jp/uq"},
    {"Australia", "ALDImobile", {.imsi = "505011234567890", .spn = "ALDImobile"}, "mdata.net.au//"},
    {"Hong Kong", "SUN Mobile", {.imsi = "454001234567890", .gid1 = "01030000"}, "SUNMobile//"},
    // cards for machines
    {"world", "1NCE", {.iccid = "8988280666001234567", .imsi = "901405101234567", .mnc_length = 2}, "iot.1nce.net//"},
    {"world", "emnify", {.iccid = "89883030000012345678", .imsi = "295050901234567", .mnc_length = 2}, "em//"},
    {"world", "Soracom", {.iccid = "8942310017001234567", .imsi = "295050910123456"}, "soracom.io/sora/sora"},
    {"world", "Onomondo", {.iccid = "89457300000012345678", .imsi = "238730123456789"}, "onomondo//"},
    {"world", "Super SIM", {.iccid = "89883070000012345678", .imsi = "732123200123456"}, "super//"},
    {"world", "Hologram", {.iccid = "8944500209190478639", .imsi = "234500001234567"}, "hologram//"},
    {"world", "Webbing", {.imsi = "454121234567890", .gid1 = "536E617065"}, "wbdata//"},
    {"world", "Truphone", {.imsi = "204043914345678"}, "truphone.com//"},
    {"world", "BICS", {.imsi = "901581234567890"}, "bicsapn//"},
    {"world", "Transatel", {.imsi = "901371234567890"}, "netgprs.com/tsl/tsl"},
    // more of both kinds
    {"Austria", "HoT", {.imsi = "232071234567890", .spn = "HoT"}, "webaut//"},
    {"Austria", "spusu", {.imsi = "232171234567890", .spn = "spusu"}, "mass.at//"},
    {"Azerbaijan", "Azercell", {.imsi = "400011234567890", .mnc_length = 2}, "internet//"},
    {"Bahrain", "stc", {.imsi = "426041234567890", .mnc_length = 2}, "viva.bh//"},
    {"Belarus", "A1", {.imsi = "257011234567890", .mnc_length = 2}, "web.velcom.by/web/web"},
    {"Brazil", "Algar", {.imsi = "724321234567890", .mnc_length = 2}, "algar.br/algar/1212"},
    {"Bulgaria", "Vivacom", {.imsi = "284031234567890", .mnc_length = 2}, "internet.vivacom.bg/VIVACOM/VIVACOM"},
    {"Canada", "Koodo", {.imsi = "302220123456789", .gid1 = "4B4F"}, "sp.koodo.com//"},
    {"Colombia",
     "Movistar",
     {.imsi = "732123123456789", .mnc_length = 3},
     "internet.movistar.com.co/movistar/movistar"},
    {"Colombia", "WOM", {.imsi = "732360123456789", .mnc_length = 3}, "internet.wom.co//"},
    {"Ecuador", "CNT", {.imsi = "740021234567890", .mnc_length = 2}, "internet.cnt.net.ec//"},
    {"Finland", "Moi", {.imsi = "244121234567890", .spn = "Moi"}, "data.moimobile.fi//"},
    {"France", "La Poste Mobile", {.imsi = "208101234567890", .spn = "La Poste Mobile"}, "wapdebitel//"},
    {"Germany", "O2", {.imsi = "262071234567890", .mnc_length = 2}, "internet//"},
    {"Germany", "sipgate", {.imsi = "262031234567890", .spn = "simquadrat"}, "sipgate/sipgate/sipgate"},
    {"Ghana", "Telecel", {.imsi = "620021234567890", .mnc_length = 2}, "browse//"},
    {"Ireland", "48", {.imsi = "272111234567890", .spn = "48"}, "48months.liffeytelecom.com//"},
    {"Israel", "Rami Levy", {.imsi = "425161234567890", .mnc_length = 2}, "internet.rl/rl@3g/rl"},
    {"Italy", "PosteMobile", {.imsi = "222331234567890", .spn = "PosteMobile"}, "internet.postemobile.it//"},
    {"Italy", "Kena", {.imsi = "222071234567890", .spn = "kena"}, "web.kenamobile.it//"},
    {"Japan", "LINEMO", {.imsi = "440201234567890", .spn = "LINEMO"}, "plus.acs.jp/lm/lm"},
    {"Jordan", "Zain", {.imsi = "416011234567890", .mnc_length = 2}, "zain/zain/zain"},
    {"Lebanon", "Alfa", {.imsi = "415011234567890", .mnc_length = 2}, "internet.mic1.com.lb/mic1/mic1"},
    {"Netherlands", "Youfone", {.imsi = "204081234567890", .spn = "YouFone"}, "internet//"},
    {"New Zealand", "Skinny", {.imsi = "530051234567890", .spn = "Skinny"}, "internet//"},
    {"Norway", "Talkmore", {.imsi = "242011234567890", .spn = "Talkmore"}, "telenor.smart//"},
    {"Oman", "Omantel", {.imsi = "422021234567890", .mnc_length = 2}, "taif/taif/taif"},
    {"Pakistan", "Telenor", {.imsi = "410061234567890", .mnc_length = 2}, "internet/telenor/telenor"},
    {"Peru", "Bitel", {.imsi = "716151234567890", .mnc_length = 2}, "bitel.pe//"},
    {"Peru", "Movistar", {.imsi = "716061234567890", .mnc_length = 2}, "movistar.pe/movistar@datos/movistar"},
    {"Poland", "Heyah", {.imsi = "260021234567890", .spn = "Heyah"}, "heyah.pl/heyah/heyah"},
    {"Portugal", "Lycamobile", {.imsi = "268041234567890", .mnc_length = 2}, "data.lycamobile.pt/lmpt/plus"},
    {"Slovenia", "A1", {.imsi = "293401234567890", .mnc_length = 2}, "internet.simobil.si/simobil/internet"},
    {"South Africa", "rain", {.imsi = "655381234567890", .mnc_length = 2}, "rain//"},
    {"Spain", "R", {.imsi = "214061234567890", .spn = "mobilR"}, "internet.mundo-r.com//"},
    {"Sweden", "Comviq", {.imsi = "240071234567890", .spn = "Comviq"}, "data.comviq.se//"},
    {"United Kingdom", "1pMobile", {.imsi = "234301234567890", .spn = "1pMobile"}, "data.uk/user/one2one"},
    {"United Kingdom", "Sky Mobile", {.imsi = "234571234567890", .spn = "Sky"}, "mobile.sky//"},
    {"United Kingdom", "SMARTY", {.imsi = "234201234567890", .gid1 = "0309"}, "mob.asm.net//"},
    {"United Kingdom", "VOXI", {.imsi = "234151234567890", .spn = "VOXI"}, "pp.vodafone.co.uk/wap/wap"},
    {"United States", "Cricket", {.imsi = "310150123456789", .mnc_length = 3}, "ndo//"},
    {"United States", "Lycamobile", {.imsi = "310260123456789", .gid1 = "6C79"}, "data.lycamobile.com/lmus/plus"},
    {"United States", "TracFone", {.imsi = "310410123456789", .gid1 = "DEFF"}, "tfdata//"},
    {"United States", "US Mobile", {.imsi = "310260123456789", .spn = "US Mobile"}, "pwg//"},
    {"world", "Vodafone GDSP", {.iccid = "8988239000001234567", .imsi = "901288001234567"}, "internet4gd.gdsp//"},
    {"world", "Monogoto", {.iccid = "8997250000001234567", .imsi = "425011234567890"}, "data.mono//"},
    {"world", "Telnyx", {.imsi = "311588123456789", .spn = "Telnyx"}, "data00.telnyx//"},
    {"world", "Things Mobile", {.imsi = "234501234567890", .spn = "ThingsMobile"}, "TM//"},
    {"world",
     "Truphone for machines",
     {.iccid = "89444746000012345678", .imsi = "234251234567890"},
     "iot.truphone.com//"},
    {"world", "Wireless by Twilio", {.imsi = "310260123456789", .gid1 = "7477"}, "wireless.twilio.com//"},
    // providers of later years
    {"Albania", "Vodafone", {.imsi = "276021234567890", .mnc_length = 2}, "vodafoneweb/web/web"},
    {"Azerbaijan", "Bakcell", {.imsi = "400021234567890", .mnc_length = 2}, "internet.bakcell.com//"},
    {"Bulgaria", "A1", {.imsi = "284011234567890", .mnc_length = 2}, "internet.a1.bg//"},
    {"Brazil", "Brisanet", {.imsi = "724771234567890", .mnc_length = 2}, "brisanet//"},
    {"Croatia", "Telemach", {.imsi = "219021234567890", .mnc_length = 2}, "telemach.hr//"},
    {"Cyprus", "Cablenet", {.imsi = "280221234567890", .mnc_length = 2}, "cablenet//"},
    {"Egypt", "Orange", {.imsi = "602011234567890", .mnc_length = 2}, "orangeweb//"},
    {"Emirates", "Virgin Mobile", {.imsi = "424030221234567", .mnc_length = 2}, "internet1//"},
    {"Georgia", "Magticom", {.imsi = "282021234567890", .mnc_length = 2}, "3g.ge//"},
    {"Ireland", "eir", {.imsi = "272031234567890", .mnc_length = 2}, "data.myeirmobile.ie//"},
    {"Ireland", "Sky Mobile", {.imsi = "272251234567890", .gid1 = "0D"}, "mobile.sky//"},
    {"Italy", "spusu", {.imsi = "222561234567890", .mnc_length = 2}, "web//"},
    {"Kenya", "Faiba", {.imsi = "639101234567890", .mnc_length = 2}, "faiba.co.ke//"},
    {"Kuwait", "Virgin Mobile", {.imsi = "419091234567890", .mnc_length = 2}, "internet//"},
    {"Malta", "GO", {.imsi = "278211234567890", .mnc_length = 2}, "gointernet//"},
    {"Mexico", "Bait", {.imsi = "334050123456789", .gid1 = "62616974", .mnc_length = 3}, "internetat.wm.com//"},
    {"Mexico", "Virgin Mobile", {.imsi = "334030123456789", .spn = "Virgin Mobile"}, "internet.virginmobile.mx//"},
    {"Morocco", "Orange", {.imsi = "604001234567890", .mnc_length = 2}, "internet.orange.ma//"},
    {"Oman", "Vodafone", {.imsi = "422061234567890", .mnc_length = 2}, "Internet.vodafone.om//"},
    {"Reunion", "Free", {.imsi = "647031234567890", .gid1 = "F2330002"}, "free.re//"},
    {"Saudi Arabia", "Lebara", {.imsi = "420061234567890", .mnc_length = 2}, "lebara//"},
    {"Saudi Arabia", "Red Bull", {.imsi = "420101234567890", .mnc_length = 2}, "Internet.redbullmobile.sa//"},
    {"Saudi Arabia", "Virgin Mobile", {.imsi = "420051234567890", .mnc_length = 2}, "internet//"},
    {"South Africa", "rain", {.imsi = "655741234567890", .mnc_length = 2}, "rain//"},
    {"Spain", "Avatel", {.iccid = "8934140012345678901", .imsi = "214031234567890"}, "internet.movil.es//"},
    {"Spain", "Virgin telco", {.imsi = "214031234567890", .spn = "Virgin telco"}, "i.virgintelco.es//"},
    {"Switzerland", "UPC", {.imsi = "228531234567890", .mnc_length = 2}, "internet.ch.upcmobile.com//"},
    {"United Kingdom", "ASDA Mobile", {.imsi = "234151234567890", .gid1 = "A1"}, "my.internet/wap/wap"},
    {"United Kingdom", "BT", {.imsi = "234761234567890", .gid1 = "C1"}, "btmobile.bt.com/bt/bt"},
    {"United Kingdom", "TalkTalk", {.imsi = "234151234567890", .spn = "TalkTalk"}, "mobile.talktalk.co.uk/wap/wap"},
    {"Zambia", "Airtel", {.imsi = "645011234567890", .mnc_length = 2}, "internet//"},
    {"world", "Webbing", {.iccid = "89852350000012345678", .imsi = "424021234567890"}, "wbdata//"},
    // networks and providers with a new name, a new owner or new cards
    {"Argentina", "Movistar", {.imsi = "722070123456789", .mnc_length = 3}, "wap.gprs.unifon.com.ar/wap/wap"},
    {"Australia", "ALDI Mobile", {.imsi = "505015612345678", .mnc_length = 2}, "mdata.net.au//"},
    {"Belgium", "spusu abroad", {.imsi = "206018800182345", .mnc_length = 2}, "mass.at//"},
    {"Brazil", "Arqia", {.imsi = "724181234567890", .mnc_length = 2}, "m2m.arqia.br//"},
    {"Canada", "Videotron", {.imsi = "302510123456789", .mnc_length = 3}, "media.ng//"},
    {"Colombia", "Virgin Mobile", {.imsi = "732123910123456", .mnc_length = 3}, "web.vmc.net.co//"},
    {"France", "Free Pro", {.imsi = "208151234567890", .gid1 = "F005"}, "jn//"},
    {"Hungary", "Telekom", {.imsi = "216301234567890", .mnc_length = 2}, "internet.telekom//"},
    {"Indonesia", "IM3", {.imsi = "510011234567890", .mnc_length = 2}, "internet//"},
    {"Japan", "povo", {.imsi = "440541234567890", .gid1 = "26"}, "povo.jp//"},
    {"Kazakhstan",
     "Beeline",
     {.imsi = "401011234567890", .mnc_length = 2},
     "internet.beeline.kz/@internet.beeline/beeline"},
    {"Kenya", "Airtel", {.imsi = "639031234567890", .mnc_length = 2}, "internet//"},
    {"Malaysia", "Digi", {.imsi = "502143123456789", .mnc_length = 3}, "diginet//"},
    {"Malaysia", "unifi", {.imsi = "502111234567890", .mnc_length = 2}, "unifi//"},
    {"Maldives", "Ooredoo", {.imsi = "472021234567890", .mnc_length = 2}, "ooredoodata//"},
    {"Oman", "Ooredoo", {.imsi = "422031234567890", .mnc_length = 2}, "ooredoo//"},
    {"Spain", "Lowi", {.imsi = "214061234567890", .spn = "Lowi"}, "lowi.private.omv.es//"},
    {"Spain", "Vodafone", {.imsi = "214061234567890", .mnc_length = 2}, "airtelnet.es/vodafone/vodafone"},
    {"Sweden", "Halebop", {.imsi = "240017123456789", .mnc_length = 2}, "halebop.telia.se//"},
    {"Taiwan", "Far EasTone", {.imsi = "466021234567890", .mnc_length = 2}, "internet//"},
    {"Tajikistan", "Tcell", {.imsi = "436011234567890", .mnc_length = 2}, "tcell//"},
    {"United Kingdom", "EE", {.imsi = "234311234567890", .mnc_length = 2}, "everywhere/eesecure/secure"},
    {"United Kingdom", "spusu", {.imsi = "234401234567890", .mnc_length = 2}, "web//"},
    {"United Kingdom", "Three", {.imsi = "235941234567890", .mnc_length = 2}, "three.co.uk//"},
    {"United States", "Assurance", {.imsi = "310260123456789", .gid1 = "1A53"}, "asw.data//"},
    {"United States", "Metro", {.imsi = "311882123456789", .gid1 = "6D38FFFF"}, "fast.metropcs.com//"},
    {"United States", "Optimum", {.imsi = "313390123456789", .gid1 = "11FF"}, "altice//"},
    {"United States", "T-Mobile", {.imsi = "311882123456789", .mnc_length = 3}, "fast.t-mobile.com//"},
};

std::string shipped_table()
{
    std::ifstream file(BUILD_ROOT "/packaging/apns", std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(ApnTable, HasTheApnOfCardsOfManyCountries)
{
    const std::string shipped = shipped_table();
    for (const CardRow &row : card_rows) {
        const ApnChoice choice = pick_apn_choices(row.card, {.database = shipped}).items[0];
        EXPECT_EQ(std::string{choice.apn.view()} + "/" + choice.username.c_str() + "/" + choice.password.c_str(),
                  row.login)
            << row.country << ", " << row.provider << ", by " << choice.why.c_str();
    }
}

TEST(ApnTable, HasOnlyRowsThatTheProgramCanRead)
{
    const std::string shipped = shipped_table();
    const std::regex key{"([0-9x]*)([*]|=.+|#[0-9A-F]+|)"};
    std::istringstream lines(shipped);
    std::string before;
    int count = 0;
    for (std::string line; std::getline(lines, line); count++) {
        std::vector<std::string> fields(6);
        std::istringstream row(line);
        for (size_t i = 0; i < fields.size(); i++)
            std::getline(row, fields[i], '\t');
        EXPECT_TRUE(std::regex_match(fields[0], key)) << line;
        EXPECT_LE(before, fields[0]) << "sorted";
        before = fields[0];
        EXPECT_TRUE(
            std::regex_match(fields[1], std::regex{"(?!(ims|vzwims|mms|wap|fota|default)$)[A-Za-z0-9._-]{1,31}"}))
            << line;
        EXPECT_LT(fields[2].size(), 64U) << line;
        EXPECT_LT(fields[3].size(), 64U) << line;
        EXPECT_TRUE(std::regex_match(fields[4], std::regex{"|none|pap|chap|both"})) << line;
        EXPECT_TRUE(std::regex_match(fields[5], std::regex{"|ipv4|ipv6|ipv4v6"})) << line;
    }
    EXPECT_GT(count, 2000);
    EXPECT_LT(shipped.size(), 100'000U) << "a router has little flash";
}

TEST(ApnTable, HasNoApnOfAnotherCountryAndNoneOfAServiceOnly)
{
    const std::string shipped = shipped_table();
    for (const char *wrong : {"20404\tsphone.pelephone.net.il", "20601\twisp.mobi.eastlink.ca",
                              "22201\tweb.iusacellgsm.mx", "23410\twap.telecom.co.nz", "65(mobilenumber)", "MSISDN"})
        EXPECT_EQ(shipped.find(wrong), std::string::npos) << wrong;
}

} // namespace apn_table_test
