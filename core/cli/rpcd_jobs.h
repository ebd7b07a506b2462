#pragma once

#include "core/cli/rpcd_call.h"

// What takes longer than a call may take is a job: a process in the background with a limit of its own. Its result is a
// file in a folder of ours in /tmp that nobody else can look into.

/// Answers {"job":id} at once. At most four jobs run, of those that change the modem one for each modem.
void start_rpcd_job(const RpcdCall &call, json_object *answer);

/// The method "job": the state of a job, and its result.
void answer_job(const RpcdCall &call, json_object *answer);

/// The members of a report that name a person's modem and card, taken out of it.
void remove_identity(json_object *report);
