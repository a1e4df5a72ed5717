// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <vector>

namespace uwbctl {

/** A file of the page, as it lies in uwbctl/serve/page. */
struct PageFile {
    /** Such as "main.js". */
    const char* name;
    std::string_view content;
};

/** All files of the page, which the build puts into the program. */
const std::vector<PageFile>& PageFiles();

}  // namespace uwbctl
