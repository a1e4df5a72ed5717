// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "uwbctl/recording/recording.h"
#include "uwbctl/report/report_data.h"

namespace uwbctl {

/** The pictures of a report, as HTML; empty when there is nothing to draw. */

std::string DistanceChart(const Recording& recording, const ReportData& data);
/** Distances a second, a row for each peer. */
std::string RateChart(const ReportData& data);
/** When measurements were lost, a row for each peer. */
std::string LossChart(const ReportData& data);
/** The peers around the radio, seen from above. */
std::string TopView(const ReportData& data);
/** @return whether a histogram tells so many peers apart: not more than can be seen. */
bool HasPeerBars(const ReportData& data);
/** @param elevation of this angle, otherwise of the azimuth. */
std::string MeritHistogram(const ReportData& data, bool elevation);

/** @return such as "0x1234, 0x5678 added", as text. */
std::string EventText(const RecordedEvent& event);

}  // namespace uwbctl
