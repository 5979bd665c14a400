#pragma once

namespace soak {

// The calling process becomes the parent of whatever its children leave running.
void adoptOrphans();

// Waits for all of them, killing them first where asked. true if there was one.
bool endOrphans(bool kill);

}  // namespace soak
