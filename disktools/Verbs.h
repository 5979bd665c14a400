#pragma once
// What each command does once its words are understood. Each one takes the lock, looks at the
// devices anew, checks that the caller may, acts, and reports: results on `out`, a failure as the
// problem it returns, after which nothing has changed unless the problem says so.

#include "disktools/Commands.h"

namespace disktools {

Failure attach(const Request& request);
Failure detach(const Request& request);
Failure info(const Request& request);
Failure newFilesystem(const Request& request);
Failure mountDevice(const Request& request);
Failure changeMount(const Request& request);
Failure unmountDevice(const Request& request);
Failure eraseVolume(const Request& request);
Failure index(const Request& request);
Failure purge(const Request& request);

}  // namespace disktools
