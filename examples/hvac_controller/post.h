/// @file
/// Posting without ceremony.
#pragma once

#include <kteventqueue.h>

/// Posts a plain event without handler: whoever runs the queue's loop interprets it.
void PostPlain(ktEventQueue& aQueue, unsigned int aType, int aValue);
