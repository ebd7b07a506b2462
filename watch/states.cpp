#include "watch/states.h"

namespace {

// clang-format off
constexpr char state_names[][11] = {"off", "absent", "blocked", "no-service", "starting", "online", "suspect",
                                    "recovering", "slow"};
constexpr char stage_names[][10] = {"refresh", "reconnect", "radio", "modem", "usb", "power", "router", ""};
constexpr char cause_names[][34] = {"", "no SIM card", "the SIM card wants its PUK", "the PIN is not configured",
                                    "the PIN was refused", "the tries for the PIN are too few",
                                    "the network refuses the SIM card", "the settings are refused",
                                    "the modem takes other cards only"};
// clang-format on

} // namespace

const char *watch_state_name(WatchState state)
{
    return state_names[static_cast<size_t>(state)];
}

const char *watch_stage_name(WatchStage stage)
{
    return stage_names[static_cast<size_t>(stage)];
}

const char *watch_cause_name(WatchCause cause)
{
    return cause_names[static_cast<size_t>(cause)];
}
