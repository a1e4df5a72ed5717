// SPDX-License-Identifier: Apache-2.0
package android.os;

public final class ServiceManager {
    public static native IBinder checkService(String name);

    private ServiceManager() {}
}
