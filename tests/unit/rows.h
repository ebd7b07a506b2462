#pragma once

#include <string_view>

/// A row in the test of a parser. what names the modem, and the source of the reply or what is odd about it.
template <typename Expected> struct ReplyRow {
    const char *what;
    std::string_view reply;
    Expected expected;
};
