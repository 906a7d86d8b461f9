#include "kttimer.h"

ktTimer::ktTimer() = default;

ktTimer::~ktTimer() = default;
