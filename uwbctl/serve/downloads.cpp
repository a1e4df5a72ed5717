// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/downloads.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "uwbctl/report/report_page.h"
#include "uwbctl/serve/answer.h"

namespace uwbctl {
namespace {

using httplib::Request;
using httplib::Response;

// Of a file, on its way from the disk.
constexpr size_t kPiece = 64 << 10;

}  // namespace

void Downloads::ServeRecording(Response* response) const {
    const auto fd = std::make_shared<android::base::unique_fd>(
        open(backend_->Recording().c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    if (!fd->ok() || fstat(fd->get(), &status) != 0 || status.st_size == 0) {
        Refuse(kNotFound, "nothing was recorded", response);
        return;
    }
    response->set_header("Content-Disposition", "attachment; filename=\"uwb-walk.jsonl\"");
    // What is written meanwhile belongs to the next download.
    response->set_content_provider(
        static_cast<size_t>(status.st_size), "application/jsonl",
        [this, fd](size_t offset, size_t length, httplib::DataSink& sink) {
            if (*is_stopping_) return false;
            std::array<char, kPiece> piece;
            const ssize_t size = pread(fd->get(), piece.data(), std::min(length, piece.size()),
                                       static_cast<off_t>(offset));
            return size > 0 && sink.write(piece.data(), static_cast<size_t>(size));
        });
}

// To be saved as well: it is a page of its own, with rules of its own.
void Downloads::ServeReport(const Request& request, Response* response) {
    const std::string path = backend_->Recording();
    if (path.empty()) {
        Refuse(kNotFound, "nothing was recorded", response);
        return;
    }
    // A report has all of its recording before it: one at a time.
    const std::lock_guard lock(report_mutex_);
    if (*is_stopping_) return Refuse(kUnavailable, "the server ends", response);
    // Those before it took their time.
    if (!request.progress(0, 0)) return Refuse(kUnavailable, "nobody waits for it", response);
    const std::string content = ReportPage(ReadRecording(path, [this] { return !*is_stopping_; }));
    response->set_header("Content-Disposition", "attachment; filename=\"uwb-report.html\"");
    response->set_content(content, "text/html; charset=utf-8");
}

}  // namespace uwbctl
