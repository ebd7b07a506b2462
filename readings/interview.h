#pragma once

#include "readings/dialects.h"

// Asks a modem everything that its dialect can report. This file decides the order of the questions, which are left
// out, and the dialect. It opens no port, so a test needs no modem.

enum class AskResult : uint8_t {
    answered, ///< a reply came, which may be a refusal
    silent,   ///< nothing came in time
    stopped,  ///< the time for the whole report is over, or the port is gone; nothing further is asked
};

/// Sends a question to the modem. reply is empty unless the result is answered.
struct Asker {
    AskResult (*ask)(void *context, const Question &question, TextOut reply);
    void *context;
};

/// A question that a modem should answer and did not.
struct Miss {
    const Question *question;
    enum class Why : uint8_t { silent, refused, not_understood, stopped } why;
    Text<64> error; ///< what the modem printed, "+CME ERROR: 10"
};
struct Misses {
    std::array<Miss, 24> items{};
    size_t size = 0;
};

/// Fills report with the answers to all questions, those about the modem's identity only if knows_identity is false,
/// and misses with the questions that should have been answered and were not. If the modem is silent after the first
/// two questions, it gets no more.
/// @return the dialect that the modem speaks
const Dialect &ask_all(const Asker &asker, uint32_t usb_vendor, bool knows_identity, Report &report, Misses &misses);
