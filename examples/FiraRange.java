// SPDX-License-Identifier: Apache-2.0

// fira_range.cpp in Java, for a process of the platform: ten distances to one FiRa controlee. It
// stands on the library hardware.velta.uwb-V1-java.
import android.os.IBinder;
import android.os.RemoteException;
import android.os.ServiceManager;

import hardware.velta.uwb.*;

import java.util.concurrent.CompletableFuture;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

public final class FiraRange {
    private static final int DISTANCES = 10;
    private static final int PATIENCE_SECONDS = 10;

    /** Calls arrive on a binder thread, one after another: the interface is oneway. */
    private static final class Reports extends IFiraSessionCallback.Stub {
        final CountDownLatch left = new CountDownLatch(DISTANCES);
        final CompletableFuture<Integer> stopped = new CompletableFuture<>();

        @Override
        public void onTwrResult(FiraRangingData data, FiraTwrMeasurement[] measurements) {
            for (FiraTwrMeasurement measurement : measurements) {
                if (measurement.status != 0 || left.getCount() == 0) continue;
                System.out.println("block " + data.blockIndex + ": " + measurement.distance + " mm");
                left.countDown();
            }
        }

        @Override
        public void onSessionStopped(int sessionId, int reason) {
            stopped.complete(reason);
        }

        // Only for who changes the controlees of a session.
        @Override
        public void onControleesAdded(int sessionId, UwbAddress[] controlees) {}

        @Override
        public void onControleesAddFailed(int sessionId, UwbAddress[] controlees, int reason) {}

        @Override
        public void onControleesRemoved(int sessionId, UwbAddress[] controlees) {}

        @Override
        public void onControleesRemoveFailed(int sessionId, UwbAddress[] controlees, int reason) {}

        @Override
        public int getInterfaceVersion() {
            return VERSION;
        }

        @Override
        public String getInterfaceHash() {
            return HASH;
        }
    }

    /** The service gives the hardware free when the process behind this dies. */
    private static final class Alive extends IUwbClientCallback.Stub {
        @Override
        public int getInterfaceVersion() {
            return VERSION;
        }

        @Override
        public String getInterfaceHash() {
            return HASH;
        }
    }

    private static UwbAddress shortAddress(int number) {
        UwbAddress address = new UwbAddress();
        address.address = new byte[] {(byte) (number >> 8), (byte) number};
        return address;
    }

    private static FiraTwrSession makeSession(int controlee) {
        FiraTwrSession session = new FiraTwrSession();
        session.id = 7;
        session.deviceType = DeviceType.CONTROLLER;
        session.deviceRole = DeviceRole.INITIATOR;
        session.rangingRoundUsage = RangingRoundUsage.DS_TWR;
        session.multiNodeMode = MultiNodeMode.UNICAST;
        session.deviceAddress = shortAddress(0x0001);
        session.destAddressList = new UwbAddress[] {shortAddress(controlee)};
        session.slotDurationRstu = 2400; // 2 ms
        session.slotsPerRangingRound = 20;
        session.rangingBlockDurationMs = 200;
        session.rangingRoundControl = new RangingRoundControl();
        session.rangingRoundControl.hasResultReportPhase = true;
        session.rangingRoundControl.hasDeferredMode = true;
        session.inBandTerminationAttemptCount = 1;
        session.channelNumber = 9;
        session.preambleCodeIndex = 10;
        session.rframeConfig = RframeConfig.SP3;
        session.prfMode = PrfMode.BPRF;
        session.preambleDuration = PreambleDuration.T64_SYMBOLS;
        session.sfdId = 2;
        session.stsSegmentCount = 1;
        session.stsConfig = FiraStsConfig.STATIC;
        session.vendorId = new byte[] {0x07, 0x08};
        session.staticStsIV = new byte[] {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
        session.resultReportConfig = new ResultReportConfig();
        session.resultReportConfig.hasTimeOfFlightReport = true;
        return session;
    }

    /** Refusals are ServiceSpecificExceptions with a code of ErrorCode and a message. */
    public static void main(String[] arguments) throws Exception {
        FiraTwrSession session =
                makeSession(arguments.length > 0 ? Integer.decode(arguments[0]) : 0x1234);
        IBinder binder = ServiceManager.checkService(IUwb.DESCRIPTOR + "/default");
        IUwb service = IUwb.Stub.asInterface(binder);
        if (service == null) throw new RemoteException(IUwb.DESCRIPTOR + "/default is not there");
        service.open(new Alive());
        try {
            String name = service.listIfaceNames()[0];
            IFiraController fira = service.getIface(name).firaController();
            Reports reports = new Reports();
            fira.setSessionCallback(reports);
            fira.initNewTwrSession(session);
            fira.startRangingSession(session.id);
            if (!reports.left.await(PATIENCE_SECONDS, TimeUnit.SECONDS)) {
                System.err.println("no ten distances in ten seconds");
            }
            fira.stopRangingSession(session.id);
            int reason = reports.stopped.get(PATIENCE_SECONDS, TimeUnit.SECONDS);
            System.out.println("stopped, reason " + reason);
            fira.deinitSession(session.id);
        } finally {
            service.close();
        }
    }

    private FiraRange() {}
}
