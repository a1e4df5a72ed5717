// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "uwbctl/recording/recording.h"
#include "uwbctl/world/scene.h"

namespace uwbctl {

/**
 * @return a scene in which each peer of a recording goes where it was measured, as seen by radio 0:
 *         without noise, so that ranging with it measures what was recorded. A peer whose angle was
 *         not measured is straight ahead; one that did not answer is lost for that time. Throws a
 *         Failure for a recording without distances.
 */
Scene ReplayScene(const Recording& recording);

}  // namespace uwbctl
