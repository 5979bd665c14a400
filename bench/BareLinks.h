#pragma once

#include <string>

namespace bench {

// What a save by second names cannot do without: each file looked at on the volume and in the
// earlier copy, given a second name in a new one, all flushed, and the earlier names taken away.
// The bare calls on as many threads as there are cores, with nothing decided and nothing copied.
// `earlier` becomes the new copy again.
void bareLinks(const std::string& volume, const std::string& earlier);

}  // namespace bench
