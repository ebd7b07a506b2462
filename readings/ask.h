#pragma once

#include "readings/dialects.h"

// Asking a modem everything that its dialect can tell. The port is somebody else's: the order of questions, which are
// left out, and the search for the dialect are decided here, so that a test needs no modem.

enum class AskResult : uint8_t {
    answered, ///< a reply came, which may be a refusal
    silent,   ///< nothing came in time
    stopped,  ///< the time for the whole report is over, or the port is gone; nothing further is asked
};

/// How a question reaches the modem. reply is empty unless answered.
struct Asker {
    AskResult (*ask)(void *context, const Question &question, TextOut reply);
    void *context;
};

/// A question that a modem should answer and did not.
struct Miss {
    const Question *question;
    enum class Why : uint8_t { silent, refused, not_understood, stopped } why;
    Text<64> error; ///< what the modem said, "+CME ERROR: 10"
};
struct Misses {
    std::array<Miss, 24> items{};
    size_t size = 0;
};

/// Fills report with the answers to all questions, those about the modem's identity only where knows_identity is false;
/// misses with what should have been told and was not. A modem that says nothing to the first two questions is asked no
/// further ones.
/// @return the dialect that the modem speaks
const Dialect &ask_all(const Asker &asker, uint32_t usb_vendor, bool knows_identity, Report &report, Misses &misses);
