#include "relay/api.h"
#include "relay/hub.h"
#include "relay/log.h"
#include "relay/options_check.h"
#include "relay/server.h"
#include "relay/service_manager.h"
#include "relay/site.h"
#include "relay/sqlite_store.h"
#include "relay/state_directory.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <exception>
#include <string>

namespace {

using namespace sorrelwind::relay;

/// Nothing of what passes through may end up in a file: no core dumps, and what is written is
/// readable by this user alone.
void protectProcess() {
    ::umask(0077);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    std::signal(SIGPIPE, SIG_IGN);
}

/// Large blocks go back to the system when they are freed, whatever has been freed before: what is
/// counted is what is taken.
void keepMemoryReturnable() {
    ::mallopt(M_MMAP_THRESHOLD, 256 << 10);
    ::mallopt(M_TRIM_THRESHOLD, 1 << 20);
}

void serve(const Options& options) {
    StateDirectory::check(options.data);
    const StateDirectory directory(options.data);
    SqliteStore store(directory.database());
    Hub hub(store, options.limits);
    const auto folder = options.web.value_or(installedSite());
    const Site site = folder.empty() ? Site() : Site(folder);
    Api api(hub, site);
    Server(options, hub, api).run();
    hub.flush();
}

int failed(const std::exception& error, int status) {
    logEvent(std::string("sorrelwind-hub: ") + error.what());
    tellServiceManager({}, error.what());
    return status;
}

} // namespace

int main(int argc, char** argv) {
    protectProcess();
    keepMemoryReturnable();
    const auto parsed = readCommandLine(argc, argv);
    if (const int* status = std::get_if<int>(&parsed))
        return *status;
    try {
        if (const auto* doctor = std::get_if<DoctorOptions>(&parsed))
            return runDoctor(*doctor);
        if (const auto* copy = std::get_if<CopyOptions>(&parsed)) {
            copyDatabase(*copy);
            return 0;
        }
        const auto& options = std::get<Options>(parsed);
        if (options.check)
            return checkOptions(options);
        serve(options);
        logEvent("stopped");
        return 0;
    } catch (const OptionError& error) {
        return failed(error, 2);
    } catch (const std::exception& error) {
        return failed(error, 1);
    }
}
