#pragma once
// A notification as a message of the bus: the signal "Posted" of one object and interface, with the
// name, the object and the user information as "ssa{ss}".

#include <optional>

#include "platform/Notifications.h"
#include "platform/linux/BusConnection.h"

namespace platform {

// The listener, which must outlive the connection, gets what may be a notification.
bool listenToNotifications(sd_bus* bus, const BusListener& listener);

// What a message can carry: texts of valid UTF-8 without zero bytes, 64 KiB altogether.
bool isCarriable(const Notification& notification);

bool sendNotification(sd_bus* bus, const Notification& notification);

// nullopt for a message that another sender made up wrongly, and for one that this connection sent.
std::optional<Notification> readNotification(sd_bus_message* message);

}  // namespace platform
