// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraTwrSession.h>

#include <cstdint>
#include <limits>
#include <string_view>

namespace uwbctl {

/**
 * Calls visit(name, pointer) for each member of a session, in the order of the interface: once for
 * all that reads, writes or describes sessions.
 */
template <typename Visitor>
void VisitMembers(::aidl::hardware::velta::uwb::FiraTwrSession* s, Visitor&& visit) {
    visit("id", &s->id);
    visit("deviceType", &s->deviceType);
    visit("deviceRole", &s->deviceRole);
    visit("rangingRoundUsage", &s->rangingRoundUsage);
    visit("multiNodeMode", &s->multiNodeMode);
    visit("deviceAddress", &s->deviceAddress);
    visit("destAddressList", &s->destAddressList);
    visit("initiationTimeMs", &s->initiationTimeMs);
    visit("slotDurationRstu", &s->slotDurationRstu);
    visit("slotsPerRangingRound", &s->slotsPerRangingRound);
    visit("rangingBlockDurationMs", &s->rangingBlockDurationMs);
    visit("blockStridingValue", &s->blockStridingValue);
    visit("maxRangingRoundRetries", &s->maxRangingRoundRetries);
    visit("isHoppingEnabled", &s->isHoppingEnabled);
    visit("isBlockStridingEnabled", &s->isBlockStridingEnabled);
    visit("sessionPriority", &s->sessionPriority);
    visit("rangingRoundControl", &s->rangingRoundControl);
    visit("inBandTerminationAttemptCount", &s->inBandTerminationAttemptCount);
    visit("channelNumber", &s->channelNumber);
    visit("preambleCodeIndex", &s->preambleCodeIndex);
    visit("rframeConfig", &s->rframeConfig);
    visit("prfMode", &s->prfMode);
    visit("preambleDuration", &s->preambleDuration);
    visit("sfdId", &s->sfdId);
    visit("stsSegmentCount", &s->stsSegmentCount);
    visit("psduDataRate", &s->psduDataRate);
    visit("bprfPhrDataRate", &s->bprfPhrDataRate);
    visit("fcsType", &s->fcsType);
    visit("isTxAdaptivePayloadPowerEnabled", &s->isTxAdaptivePayloadPowerEnabled);
    visit("aoaType", &s->aoaType);
    visit("stsConfig", &s->stsConfig);
    visit("subSessionId", &s->subSessionId);
    visit("vendorId", &s->vendorId);
    visit("staticStsIV", &s->staticStsIV);
    visit("isKeyRotationEnabled", &s->isKeyRotationEnabled);
    visit("keyRotationRate", &s->keyRotationRate);
    visit("aoaResultRequest", &s->aoaResultRequest);
    visit("resultReportConfig", &s->resultReportConfig);
}

/** The same for a member that has members. */
template <typename Visitor>
void VisitMembers(::aidl::hardware::velta::uwb::RangingRoundControl* c, Visitor&& visit) {
    visit("hasResultReportPhase", &c->hasResultReportPhase);
    visit("measurementReportType", &c->measurementReportType);
    visit("hasDeferredMode", &c->hasDeferredMode);
}

/** The same for a member that has members. */
template <typename Visitor>
void VisitMembers(::aidl::hardware::velta::uwb::ResultReportConfig* c, Visitor&& visit) {
    visit("hasTimeOfFlightReport", &c->hasTimeOfFlightReport);
    visit("hasAngleOfArrivalAzimuthReport", &c->hasAngleOfArrivalAzimuthReport);
    visit("hasAngleOfArrivalElevationReport", &c->hasAngleOfArrivalElevationReport);
    visit("hasAngleOfArrivalFigureOfMeritReport", &c->hasAngleOfArrivalFigureOfMeritReport);
}

/** @return the largest number that a member may be: identifiers are unsigned for people. */
template <typename T>
int64_t MaxOf(std::string_view name) {
    const bool is_identifier = name == "id" || name == "subSessionId";
    return is_identifier ? std::numeric_limits<uint32_t>::max()
                         : static_cast<int64_t>(std::numeric_limits<T>::max());
}

}  // namespace uwbctl
