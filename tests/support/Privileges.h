#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include "tests/support/Test.h"

// Runs on a thread that has lost root's right to pass over modes; the process keeps it.
template <class Body>
void withoutPrivileges(Body body) {
  std::thread([&] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
    body();
  }).join();
}
