#pragma once

namespace disktools {

// Frees the process of what its caller may have set up before starting it: environment, file mask,
// missing standard descriptors, limits that would stop it half-way, signals of the terminal. Call
// it first, with one thread.
void prepareProcess();

}  // namespace disktools
