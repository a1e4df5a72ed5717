// SPDX-License-Identifier: Apache-2.0
package android.os;

public interface IBinder {
    int FIRST_CALL_TRANSACTION = 1;
    int LAST_CALL_TRANSACTION = 0xffffff;
    int INTERFACE_TRANSACTION = 0x5f4e5446;
    int FLAG_ONEWAY = 1;

    boolean transact(int code, Parcel data, Parcel reply, int flags) throws RemoteException;

    IInterface queryLocalInterface(String descriptor);
}
