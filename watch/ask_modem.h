#pragma once

#include "status/history.h"
#include "watch/scene.h"
#include "watch/settings.h"

/// What the network daemon last said of the interface, as a document: asking it again needs a process.
using InterfaceText = Text<600>;

/// Asks the modem, a question at a time, keeps the answers as the snapshot, and fills the sample's signal. Asks the
/// network daemon only if last is empty, and fills it.
void ask_modem(const char *bus, Scene &scene, WatchSettings &settings, WatchObservation &seen, HistorySample &sample,
               InterfaceText &last);
