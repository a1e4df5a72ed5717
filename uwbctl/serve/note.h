// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "uwbctl/ranging/activity.h"
#include "uwbctl/serve/event_log.h"

namespace uwbctl {

/** Publishes "note" {"tone", "text", "time_ms"}: something that people want to know. */
void PublishNote(EventLog* log, Tone tone, const std::string& text);

}  // namespace uwbctl
