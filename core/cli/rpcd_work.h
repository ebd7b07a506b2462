#pragma once

#include "core/cli/rpcd_call.h"

// What the jobs without a command do. Each adds to result, and returns the status of the job.

int work_refresh(const RpcdCall &call, json_object *result);
int work_connect(const RpcdCall &call, json_object *result);
int work_disconnect(const RpcdCall &call, json_object *result);
int work_restart(const RpcdCall &call, json_object *result);
int work_at(const RpcdCall &call, json_object *result);
int work_record(const RpcdCall &call, json_object *result);
