#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/modem/modem.h"

/// A simulated modem whose time the test holds in its hand.
class ModemUnderTest {
  public:
    explicit ModemUnderTest(simulator::Profile profile, simulator::ModemOptions options = {})
        : modem(std::move(profile), std::move(options))
    {
    }

    /// Sends bytes to the first AT interface and gives what that one prints in the time from now on.
    std::string say(std::string_view bytes, simulator::Milliseconds time = 60'000)
    {
        modem.receive(modem.profile().at_interface(), bytes, now);
        return listen(time);
    }

    /// What the first AT interface prints until now + time.
    std::string listen(simulator::Milliseconds time)
    {
        std::string text;
        for (const simulator::Event &event : events(time))
            if (event.kind == simulator::Event::Kind::bytes && event.interface == modem.profile().at_interface())
                text += event.bytes;
        return text;
    }

    std::vector<simulator::Event> events(simulator::Milliseconds time)
    {
        now += time;
        return modem.take_due(now);
    }

    simulator::Modem modem;
    simulator::Milliseconds now = 0;
};

/// A profile with one AT port that is made of a few rows.
inline simulator::Profile small_profile(const std::string &text)
{
    const std::string head = "model Test\nusb 1234:5678\ninterface 0 ttyUSB at\ninterface 1 ttyUSB talks\n"
                             "interface 2 ttyUSB silent\nvar echo 0\nvar cmee 0\n";
    return simulator::parse_profile("test.modem", head + text, [](const std::string &) { return std::string(); });
}
