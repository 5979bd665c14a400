#pragma once

#include <string>

namespace bench {

// 20,000 files of log-normal sizes in 64 folders, some 800 MB, as a browser keeps them.
void makeBrowserCache(const std::string& folder);

// 50,000 small files in 2,400 folders, some 440 MB, as a compiler leaves them.
void makeBuildFolder(const std::string& folder);

}  // namespace bench
