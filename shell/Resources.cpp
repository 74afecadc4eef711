#include "shell/Resources.h"

#include <QtGlobal>

// Q_INIT_RESOURCE declares the registration function, which must live in
// the global namespace, so it cannot be called from inside a namespace.
static bool RegisterResources()
{
    Q_INIT_RESOURCE(practorium);
    return true;
}

void InitResources()
{
    static const bool registered = RegisterResources();
    Q_UNUSED(registered);
}
