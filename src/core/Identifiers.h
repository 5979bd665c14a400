#pragma once

// Reverse-DNS identities. They name folders and files on users' disks and must never change.
inline constexpr char kMainAppBundleId[] = "com.tarnvale.Tarnvale";
inline constexpr char kHelperBundleId[] = "com.tarnvale.Tarnvale-Helper";

// The helper's last argument when the application started it, not the login.
inline constexpr char kLaunchedByApp[] = "FromApp";

// The helper's argument when it stays for the session, whatever becomes of the menu.
inline constexpr char kServiceArgument[] = "--service";
