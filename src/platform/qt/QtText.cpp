#include "platform/qt/QtText.h"
