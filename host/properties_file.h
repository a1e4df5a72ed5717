// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace hardware::velta {

/** Environment variable that names the properties file. */
inline constexpr char kPropertiesFileVariable[] = "VELTA_UWB_PROPERTIES";

/** Where the properties file is when the variable does not name one; it may be missing there. */
inline constexpr char kDefaultPropertiesFile[] = "/etc/velta-uwb/build.prop";

/**
 * Does what Android's init does before it starts a service: sets system properties. A file named by
 * the variable has to be there; the default one does not.
 *
 * @param error what is wrong with the file, one line.
 * @return false when there is one and it is not right.
 */
bool LoadSystemProperties(std::string* error);

/**
 * Sets system properties from a file of "key=value" lines, as of build.prop: blanks around key and
 * value do not count, "#" starts a comment line. Outside Android properties live in the process,
 * and an "ro." property can be set once.
 *
 * @param path the file.
 * @param error what is wrong with it, one line.
 * @return false when the file cannot be read or a line is bad; lines before it were set.
 */
bool LoadPropertiesFile(const std::string& path, std::string* error);

}  // namespace hardware::velta
