// SPDX-License-Identifier: Apache-2.0
package android.os;

public class BadParcelableException extends RuntimeException {
    public BadParcelableException(String message) {
        super(message);
    }
}
