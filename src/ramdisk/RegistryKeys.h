#pragma once
// The keys of the registry's dictionary.

namespace registry_keys {

inline constexpr char kEntriesKey[] = "RamDiskEntries";
inline constexpr char kMenuBarKey[] = "showInMenuBar";
inline constexpr char kMenuBarAtLoginKey[] = "showInMenuBarAtLogin";
inline constexpr char kSaveAtSessionEndKey[] = "saveAtSessionEnd";

}  // namespace registry_keys
