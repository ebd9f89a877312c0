#pragma once

#include <string_view>

namespace sorrelwind::relay {

/// Tells systemd, where it runs this program as a service of Type=notify, how things stand
/// (sd_notify(3)); anywhere else it does nothing. `state` is "READY=1", "RELOADING=1", "STOPPING=1"
/// or empty; `status` is what "systemctl status" shows from now on.
void tellServiceManager(std::string_view state, std::string_view status = {});

} // namespace sorrelwind::relay
