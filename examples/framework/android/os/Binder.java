// SPDX-License-Identifier: Apache-2.0
package android.os;

public class Binder implements IBinder {
    public final native void markVintfStability();

    public native void attachInterface(IInterface owner, String descriptor);

    protected native boolean onTransact(int code, Parcel data, Parcel reply, int flags)
            throws RemoteException;

    @Override
    public native boolean transact(int code, Parcel data, Parcel reply, int flags)
            throws RemoteException;

    @Override
    public native IInterface queryLocalInterface(String descriptor);
}
