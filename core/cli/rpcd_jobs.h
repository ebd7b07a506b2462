#pragma once

#include "core/cli/rpcd_call.h"
#include "platform/files.h"

// What takes longer than a call may take is a job: a process in the background with a limit of its own. Its result is a
// file in a folder of ours in /tmp that nobody else can look into.

inline constexpr char rpcd_folder[] = "jobs"; ///< as state_dir takes it

/// Calls that share a file of the folder take turns, of milliseconds. @return none if the folder is not ours
Fd take_rpcd_turn();

/// Answers {"job":id} at once. At most four jobs run, of those that change the modem one for each modem.
void start_rpcd_job(const RpcdCall &call, json_object *answer);

/// The method "job": the state of a job, and its result.
void answer_job(const RpcdCall &call, json_object *answer);

/// The members of a report that name a person's modem and card, taken out of it.
void remove_identity(json_object *report);
