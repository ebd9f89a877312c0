#include "relay/options.h"

#include "relay/service_manager.h"
#include "relay/state_directory.h"

#include <CLI/CLI.hpp>

#include <limits>

namespace sorrelwind::relay {

namespace {

/// A check in the form that the parser wants: empty for a good text, else what is wrong with it.
template <class Parse>
auto mustParse(Parse parse, const char* what) {
    return [parse, what](const std::string& text) {
        return parse(text) ? std::string() : '"' + text + "\" is not " + what;
    };
}

/// From 0 on. What the library would write of it into the help is no help.
template <class Number>
CLI::Validator atMost(Number most) {
    return CLI::Range(Number{0}, most).description("");
}

/// What is wrong, and where the right use stands.
std::string complaint(const CLI::App* app, const CLI::Error& error) {
    std::string command = app->get_name();
    for (const auto* chosen : app->get_subcommands())
        command += ' ' + chosen->get_name();
    return std::string(error.what()) + ". See: " + command + " --help\n";
}

} // namespace

CommandLine readCommandLine(int argc, char** argv) {
    Options options;
    Limits& limits = options.limits;
    std::vector<std::string> listen{"127.0.0.1:8787"};
    std::vector<std::string> proxies;
    std::string data;
    std::string cert;
    std::string key;
    std::string web;
    std::int64_t itemTtl = limits.itemTtl.count();

    CLI::App app("Relays encrypted clipboard items between the devices of Sorrelwind groups.",
                 "sorrelwind-hub");
    app.set_version_flag("--version", "sorrelwind-hub " SORRELWIND_VERSION);
    app.failure_message(complaint);
    app.add_option("--listen", listen, "address and port, [::1]:8787 for IPv6; repeatable")
        ->type_name("ADDRESS:PORT")
        ->check(mustParse(ListenAddress::parse, "an IP address and a port"))
        ->capture_default_str();
    app.add_option("--data", data, "folder of the database; made if it is missing")
        ->type_name("DIR");
    auto* certOption = app.add_option("--tls-cert", cert,
                                      "certificate chain, PEM; with it the hub "
                                      "speaks https")
                           ->type_name("FILE");
    auto* keyOption = app.add_option("--tls-key", key, "its private key, PEM")->type_name("FILE");
    certOption->needs(keyOption);
    keyOption->needs(certOption);
    app.add_option("--web", web, "serve the files of this folder instead of the hub's own page")
        ->type_name("DIR");
    app.add_option("--trusted-proxy", proxies, "whose X-Forwarded-For is believed; repeatable")
        ->type_name("CIDR")
        ->check(mustParse(Cidr::parse, "an address range"));
    app.add_flag("--check", options.check,
                 "say whether these options are right: addresses, folders, files; then end");

    const auto count = atMost(std::numeric_limits<int>::max() / 16);
    const auto rate = atMost(1e9);
    constexpr auto kGroup = "Limits (0 = no limit)";
    app.add_option("--max-payload", limits.maxPayload, "of an item's payload, 1073741824 at most")
        ->type_name("BYTES")
        ->check(atMost(std::uint64_t{1} << 30))
        ->group(kGroup)
        ->capture_default_str();
    app.add_option("--max-devices", limits.maxDevices, "devices of a group")
        ->type_name("NUMBER")
        ->check(count)
        ->group(kGroup)
        ->capture_default_str();
    app.add_option("--publish-rate", limits.publishRate, "items a second and device")
        ->type_name("NUMBER")
        ->check(rate)
        ->group(kGroup)
        ->capture_default_str();
    app.add_option("--publish-burst", limits.publishBurst, "items at once from a device")
        ->type_name("NUMBER")
        ->check(rate)
        ->group(kGroup)
        ->capture_default_str();
    app.add_option("--claim-failures", limits.claimFailures,
                   "wrong pairing codes a minute and address")
        ->type_name("NUMBER")
        ->check(count)
        ->group(kGroup)
        ->capture_default_str();
    app.add_option("--new-groups", limits.newGroups, "an hour and address")
        ->type_name("NUMBER")
        ->check(count)
        ->group(kGroup)
        ->capture_default_str();
    app.add_option("--item-ttl", itemTtl, "for which the newest item waits in memory")
        ->type_name("SECONDS")
        ->check(atMost(std::int64_t{1} << 31))
        ->group(kGroup)
        ->capture_default_str();

    app.add_option("--max-connections", limits.maxConnections, "connections of an address")
        ->type_name("NUMBER")
        ->check(count)
        ->group(kGroup)
        ->capture_default_str();
    app.add_option("--max-memory", limits.maxMemory,
                   "of all that is queued, held and half-received")
        ->type_name("BYTES")
        ->check(atMost(std::uint64_t{1} << 40))
        ->group(kGroup)
        ->capture_default_str();

    DoctorOptions doctor;
    auto idle = doctor.idle.count();
    auto* doctorCommand = app.add_subcommand(
        "doctor", "look at a hub from outside: certificate, proxy, socket, clock");
    CopyOptions copy;
    std::string file;
    auto* backupCommand =
        app.add_subcommand("backup", "copy the database to a file, also while the hub runs");
    auto* restoreCommand = app.add_subcommand(
        "restore", "put such a file in the database's place, while the hub does not run");
    const auto serves = [](const CLI::Option* option) { return !option->check_lname("help"); };
    for (auto* command : {doctorCommand, backupCommand, restoreCommand})
        for (auto* option : app.get_options(serves))
            command->excludes(option);
    for (auto* command : {backupCommand, restoreCommand}) {
        command->add_option("FILE", file, "the copy")->type_name("")->required();
        command->add_option("--data", data, "folder of the database")->type_name("DIR");
    }
    doctorCommand->add_option("URL", doctor.address, "its address, such as https://hub.example")
        ->type_name("")
        ->required();
    doctorCommand
        ->add_option("--idle", idle, "seconds for which its socket is watched; 0 = not at all")
        ->type_name("SECONDS")
        ->check(atMost(24 * 3600))
        ->capture_default_str();

    try {
        app.parse(argc, argv);
        // Written so that "nan", which is a number to the parser, is refused as well.
        if (!(limits.publishRate >= 0))
            throw CLI::ValidationError("--publish-rate", "must be a number");
        if (!(limits.publishBurst == 0 || limits.publishBurst >= 1))
            throw CLI::ValidationError("--publish-burst", "must be 0 or at least 1");
        if (limits.maxMemory != 0 && limits.maxMemory < 4 * limits.maxMessage())
            throw CLI::ValidationError("--max-memory", "must be 0 or at least " +
                                                           std::to_string(4 * limits.maxMessage()) +
                                                           " for this --max-payload");
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) == 0)
            return 0;
        tellServiceManager({}, error.what());
        return 2;
    }

    if (doctorCommand->parsed()) {
        doctor.idle = std::chrono::seconds(idle);
        return doctor;
    }
    if (backupCommand->parsed() || restoreCommand->parsed()) {
        copy.restores = restoreCommand->parsed();
        copy.file = file;
        copy.data = data.empty() ? directoryInUse() : std::filesystem::path(data);
        return copy;
    }

    for (const auto& text : listen)
        options.listen.push_back(*ListenAddress::parse(text));
    for (const auto& text : proxies)
        options.trustedProxies.push_back(*Cidr::parse(text));
    options.data = data.empty() ? defaultStateDirectory() : std::filesystem::path(data);
    if (!cert.empty()) {
        options.tlsCert = cert;
        options.tlsKey = key;
    }
    if (!web.empty())
        options.web = web;
    limits.itemTtl = std::chrono::seconds(itemTtl);
    return options;
}

} // namespace sorrelwind::relay
