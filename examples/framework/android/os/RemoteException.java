// SPDX-License-Identifier: Apache-2.0
package android.os;

public class RemoteException extends Exception {
    public RemoteException() {}

    public RemoteException(String message) {
        super(message);
    }
}
