// SPDX-License-Identifier: Apache-2.0
package android.os;

public interface Parcelable {
    int PARCELABLE_STABILITY_VINTF = 1;
    int PARCELABLE_WRITE_RETURN_VALUE = 1;

    int getStability();

    int describeContents();

    void writeToParcel(Parcel parcel, int flags);

    interface Creator<T> {
        T createFromParcel(Parcel parcel);

        T[] newArray(int size);
    }
}
