#pragma once
// Everything the model and the screens are handed from outside, in one place: the app builds
// the real set once at start, the command line its own, tests one with scripted parts.

#include "model/desktop_services.h"
#include "model/engine_calls.h"
#include "model/recent_redaction_store.h"

#include <memory>

namespace norvane {

struct Services {
    std::shared_ptr<RecentRedactionStore> history;  // never null
    std::shared_ptr<DesktopServices> desktop;       // null where there is no desktop
    EngineCalls engine;
};

using SharedServices = std::shared_ptr<const Services>;

}  // namespace norvane
