// The layer's thread wrapper: a thread with a name, joined with a bound.
#pragma once

#include "Platform/Platform.h"

using named_thread = platform::NamedThread;
