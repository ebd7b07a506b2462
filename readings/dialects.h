#pragma once

#include <span>

#include "readings/report.h"

// Which questions to ask a modem. A dialect is a maker's way of telling cells and levels; what 3GPP TS 27.007 defines
// is asked of every modem.

/// One question and the reader of its answer.
struct Question {
    const char *what;    ///< what it is about: "identity", "sim", "network", "serving", "carriers", "neighbours",
                         ///< "signal", "temperature", "bands"
    const char *command; ///< "AT+CSQ"
    bool (*read)(std::string_view reply, Report &report); ///< @return false when the reply is not understood
    /// Asked only if this is true; null: always. A second way to ask is skipped when the first was answered.
    bool (*is_needed)(const Report &report) = nullptr;
    bool is_expected = false; ///< a refusal is worth a word; most modems lack some of the other commands
    int limit_ms = 2000;      ///< how long the answer may take
};

struct Dialect {
    const char *name; ///< "quectel", "sierra" ...
    /// Words of ATI's reply, in capitals, that mean this dialect; null ones end the list.
    const char *words[6];
    uint16_t usb_vendors[4]; ///< the first guess, by USB vendor id; 0 ends the list
    /// The first of these is the dialect's own question: a modem that refuses it speaks another dialect.
    std::span<const Question> questions;
};

/// All makers' dialects; the last, "3gpp", adds no questions.
std::span<const Dialect> dialects();

/// The dialect of a modem whose ATI says this and whose USB vendor id is that one: the words decide, then the id.
const Dialect &pick_dialect(const Report &report, uint32_t usb_vendor);

/// Asked before and after a dialect's questions.
std::span<const Question> identity_questions();
std::span<const Question> sim_questions();
std::span<const Question> common_questions();
