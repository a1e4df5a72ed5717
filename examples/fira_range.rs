// SPDX-License-Identifier: Apache-2.0

//! fira_range.cpp in Rust: ten distances to one FiRa controlee: fira_range [ADDRESS], such as 0x1234.
//! It stands on the platform's crate binder and on the library hardware.velta.uwb-V1-rust.
use std::sync::mpsc::{channel, Sender};
use std::sync::Mutex;
use std::time::Duration;

use binder::{BinderFeatures, Interface, ProcessState, Status, StatusCode, Strong};
use hardware_velta_uwb::aidl::hardware::velta::uwb::{
    DeviceRole::DeviceRole, DeviceType::DeviceType, FiraRangingData::FiraRangingData,
    FiraStsConfig::FiraStsConfig, FiraTwrMeasurement::FiraTwrMeasurement,
    FiraTwrSession::FiraTwrSession, IFiraSessionCallback::BnFiraSessionCallback,
    IFiraSessionCallback::IFiraSessionCallback, IUwb::IUwb,
    IUwbClientCallback::BnUwbClientCallback, IUwbClientCallback::IUwbClientCallback,
    MultiNodeMode::MultiNodeMode, PreambleDuration::PreambleDuration, PrfMode::PrfMode,
    RangingRoundControl::RangingRoundControl, RangingRoundUsage::RangingRoundUsage,
    ResultReportConfig::ResultReportConfig, RframeConfig::RframeConfig, UwbAddress::UwbAddress,
};

const SERVICE: &str = "hardware.velta.uwb.IUwb/default";
const DISTANCES: usize = 10;
const PATIENCE: Duration = Duration::from_secs(10);

/// The service gives the hardware free when the process behind this dies.
struct Alive;
impl Interface for Alive {}
impl IUwbClientCallback for Alive {}

enum Event {
    Distance { block: i32, mm: i64 },
    Stopped { reason: i32 },
}

/// Calls arrive on a thread of the binder pool, one after another: the interface is oneway.
struct Reports(Mutex<Sender<Event>>);

impl Reports {
    fn tell(&self, event: Event) {
        // Whoever has enough no longer listens.
        let _ = self.0.lock().unwrap().send(event);
    }
}
impl Interface for Reports {}
impl IFiraSessionCallback for Reports {
    fn onTwrResult(&self, data: &FiraRangingData, all: &[FiraTwrMeasurement]) -> binder::Result<()> {
        for measurement in all.iter().filter(|measurement| measurement.status == 0) {
            self.tell(Event::Distance { block: data.blockIndex, mm: measurement.distance });
        }
        Ok(())
    }
    fn onSessionStopped(&self, _session: i32, reason: i32) -> binder::Result<()> {
        self.tell(Event::Stopped { reason });
        Ok(())
    }
    // Only for who changes the controlees of a session.
    fn onControleesAdded(&self, _: i32, _: &[UwbAddress]) -> binder::Result<()> {
        Ok(())
    }
    fn onControleesAddFailed(&self, _: i32, _: &[UwbAddress], _: i32) -> binder::Result<()> {
        Ok(())
    }
    fn onControleesRemoved(&self, _: i32, _: &[UwbAddress]) -> binder::Result<()> {
        Ok(())
    }
    fn onControleesRemoveFailed(&self, _: i32, _: &[UwbAddress], _: i32) -> binder::Result<()> {
        Ok(())
    }
}

fn short_address(number: u16) -> UwbAddress {
    UwbAddress { address: number.to_be_bytes().to_vec() }
}

/// A controller that ranges with one controlee five times a second. Both sides must agree on all of this:
/// DS-TWR, deferred mode, BPRF set 4, static STS.
fn make_session(controlee: u16) -> FiraTwrSession {
    FiraTwrSession {
        id: 7,
        deviceType: DeviceType::CONTROLLER,
        deviceRole: DeviceRole::INITIATOR,
        rangingRoundUsage: RangingRoundUsage::DS_TWR,
        multiNodeMode: MultiNodeMode::UNICAST,
        deviceAddress: short_address(0x0001),
        destAddressList: vec![short_address(controlee)],
        slotDurationRstu: 2400, // 2 ms
        slotsPerRangingRound: 20,
        rangingBlockDurationMs: 200,
        rangingRoundControl: RangingRoundControl {
            hasResultReportPhase: true,
            hasDeferredMode: true,
            ..Default::default()
        },
        inBandTerminationAttemptCount: 1,
        channelNumber: 9,
        preambleCodeIndex: 10,
        rframeConfig: RframeConfig::SP3,
        prfMode: PrfMode::BPRF,
        preambleDuration: PreambleDuration::T64_SYMBOLS,
        sfdId: 2,
        stsSegmentCount: 1,
        stsConfig: FiraStsConfig::STATIC,
        vendorId: vec![0x07, 0x08],
        staticStsIV: vec![0x01, 0x02, 0x03, 0x04, 0x05, 0x06],
        resultReportConfig: ResultReportConfig { hasTimeOfFlightReport: true, ..Default::default() },
        ..Default::default()
    }
}

/// Refusals are service-specific errors with a code of ErrorCode and a message.
fn range(service: &Strong<dyn IUwb>, controlee: u16) -> Result<(), Status> {
    let session = make_session(controlee);
    let names = service.listIfaceNames()?;
    let name = names.first().ok_or(StatusCode::NAME_NOT_FOUND)?;
    let fira = service.getIface(name)?.firaController()?.ok_or(StatusCode::UNEXPECTED_NULL)?;
    let (sender, events) = channel();
    let reports = Reports(Mutex::new(sender));
    let reports = BnFiraSessionCallback::new_binder(reports, BinderFeatures::default());
    fira.setSessionCallback(Some(&reports))?;
    fira.initNewTwrSession(&session)?;
    fira.startRangingSession(session.id)?;

    let mut left = DISTANCES;
    while left > 0 {
        match events.recv_timeout(PATIENCE) {
            Ok(Event::Distance { block, mm }) => println!("block {}: {} mm", block, mm),
            _ => return Err(StatusCode::TIMED_OUT.into()),
        }
        left -= 1;
    }
    // A stop is asked for, and has happened once the radio says so; then the session can go.
    fira.stopRangingSession(session.id)?;
    loop {
        match events.recv_timeout(PATIENCE) {
            Ok(Event::Stopped { reason }) => {
                println!("stopped, reason {}", reason);
                return fira.deinitSession(session.id);
            }
            Ok(Event::Distance { .. }) => {}
            Err(_) => return Err(StatusCode::TIMED_OUT.into()),
        }
    }
}

fn main() -> Result<(), Status> {
    let address = std::env::args().nth(1).unwrap_or_else(|| "0x1234".into());
    let controlee = u16::from_str_radix(address.trim_start_matches("0x"), 16).expect("an address");
    ProcessState::start_thread_pool();
    let service: Strong<dyn IUwb> = binder::get_interface(SERVICE)?;
    let alive = BnUwbClientCallback::new_binder(Alive, BinderFeatures::default());
    service.open(Some(&alive))?;
    let result = range(&service, controlee);
    service.close()?;
    result
}
