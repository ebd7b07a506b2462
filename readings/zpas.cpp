#include "readings/zpas.h"

#include "readings/fields.h"
#include "readings/scales.h"

// +ZPAS: "HSDPA","CS_PS"       (ME3630)
// +ZPAS: "LTE Cat.NB1",...     narrow band has other words
bool read_zpas(std::string_view reply, Report &report)
{
    const std::string_view word = Fields{record_of(reply, "+ZPAS:")}[0];
    Technology technology = technology_of_quectel(word);
    if (find_word(word, "CAT.NB") != std::string_view::npos)
        technology = Technology::nb_iot;
    else if (find_word(word, "CAT.M") != std::string_view::npos)
        technology = Technology::emtc;
    else if (word == "3G")
        technology = Technology::wcdma;
    else if (starts_with_word(word, "LIMITED SERVICE"))
        technology = Technology::none;
    if (technology == Technology::unknown)
        return false;
    report.tell_technology(technology);
    if (technology != Technology::none && word != "LTE" && word != "GSM" && word != "WCDMA")
        tell_text(report.technology_detail, word);
    return true;
}
