#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

namespace platform::qt {

// Answers what is asked of an object's read-only properties. NO when the message asks for something
// else.
bool answersProperties(const QDBusMessage& message, const QDBusConnection& connection,
                       const QVariantMap& properties);

}  // namespace platform::qt
