#include "KPTimer.h"

KPTimer KPTimer::timer()
{
    KPTimer started;
    started.start();
    return started;
}
