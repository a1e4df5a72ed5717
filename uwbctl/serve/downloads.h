// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <atomic>
#include <mutex>

#include "uwbctl/serve/backend.h"

namespace uwbctl {

/** The latest recording and its report, for who saves them. Any number of threads may call it. */
class Downloads {
  public:
    static constexpr char kRecordingPath[] = "/recording.jsonl";
    static constexpr char kReportPath[] = "/report.html";

    /** @param backend, is_stopping borrowed; when that is set nothing more is begun, or goes on. */
    Downloads(Backend* backend, const std::atomic<bool>* is_stopping)
        : backend_(backend), is_stopping_(is_stopping) {}

    /** Piece by piece: it may be as large as the disk has room for. */
    void ServeRecording(httplib::Response* response) const;

    /**
     * Makes the report, one at a time; none for a reader that has left.
     *
     * @param request says in progress() whether its reader is there.
     */
    void ServeReport(const httplib::Request& request, httplib::Response* response);

  private:
    Backend* backend_;
    const std::atomic<bool>* is_stopping_;
    std::mutex report_mutex_;
};

}  // namespace uwbctl
