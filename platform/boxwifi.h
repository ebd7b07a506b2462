#pragma once

/// Restarts the router's radios with its "wifi" command, so that a changed channel takes effect; waits for its end.
void wifi_restart();
