// SPDX-License-Identifier: Apache-2.0
package android.os;

/** What generated code calls, declared only: nothing here runs. */
public class Parcel {
    public static native Parcel obtain();

    public static native Parcel obtain(IBinder binder);

    public native void recycle();

    public native void enforceInterface(String name);

    public native void writeInterfaceToken(String name);

    public native void enforceNoDataAvail();

    public native void readException();

    public native void writeNoException();

    public native int readInt();

    public native void writeInt(int value);

    public native long readLong();

    public native void writeLong(long value);

    public native boolean readBoolean();

    public native void writeBoolean(boolean value);

    public native double readDouble();

    public native void writeDouble(double value);

    public native float readFloat();

    public native void writeFloat(float value);

    public native byte readByte();

    public native void writeByte(byte value);

    public native String readString();

    public native void writeString(String value);

    public native IBinder readStrongBinder();

    public native void writeStrongBinder(IBinder binder);

    public native void writeStrongInterface(IInterface object);

    public native int[] createIntArray();

    public native void writeIntArray(int[] values);

    public native long[] createLongArray();

    public native void writeLongArray(long[] values);

    public native byte[] createByteArray();

    public native void writeByteArray(byte[] values);

    public native String[] createStringArray();

    public native void writeStringArray(String[] values);

    public native <T> T[] createTypedArray(Parcelable.Creator<T> creator);

    public native <T extends Parcelable> void writeTypedArray(T[] values, int flags);

    public native <T> T readTypedObject(Parcelable.Creator<T> creator);

    public native <T extends Parcelable> void writeTypedObject(T value, int flags);

    public native int dataPosition();

    public native void setDataPosition(int position);

    public native int dataSize();
}
