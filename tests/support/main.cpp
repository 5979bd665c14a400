#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/PrivateNamespace.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // Texts are compared in English, whatever the language of who runs the tests.
  setenv("LC_ALL", "C.UTF-8", 1);  // NOLINT(concurrency-mt-unsafe)
  return runInPrivateNamespace([] { return RUN_ALL_TESTS(); });
}
