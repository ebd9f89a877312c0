// Whole requests to the hub, on a store in memory: "METHOD TARGET AUTH\n" and a body. In the target
// and the body "@" stands for the id of a device, and an AUTH of "member" for a good token.

#include "relay/api.h"
#include "relay/sqlite_store.h"

#include <boost/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

using namespace sorrelwind::relay;

namespace {

struct World {
    SqliteStore store{":memory:"};
    Hub hub{store, {}};
    Site site;
    Api api{hub, site};
    Now now{Steady() + std::chrono::hours(1000), 1'700'000'000'000};
    Hub::Joined member =
        *hub.createGroup({"name", "linux"}, boost::asio::ip::make_address("192.0.2.1"), now);
};

std::string_view takeWord(std::string_view& text, char end) {
    const auto word = text.substr(0, text.find(end));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    return word;
}

std::string filled(std::string_view text, const std::string& device) {
    std::string result;
    for (const char c : text)
        c == '@' ? result += device : result += c;
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::set<int> kKnown{200, 304, 400, 401, 403, 404, 405, 409, 413, 429};
    World world;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    auto line = takeWord(rest, '\n');
    const auto method = takeWord(line, ' ');
    const auto target = filled(takeWord(line, ' '), world.member.device.id);
    const auto authorization =
        "Bearer " + (line == "member" ? world.member.token : std::string(line));
    const auto body = filled(rest, world.member.device.id);
    const Head head{.method = method,
                    .target = target,
                    .authorization = authorization,
                    .contentType = "application/json",
                    .client = boost::asio::ip::make_address("192.0.2.1")};

    (void)world.api.bodyLimit(head, world.now);
    const auto response = world.api.handle(head, body, world.now);
    if (!kKnown.contains(response.status))
        std::abort();
    if (response.type == "application/json") {
        const auto json = boost::json::parse(response.body); // throws on rubbish
        if (json.as_object().contains("error") == (response.status == 200))
            std::abort();
    }
    (void)world.api.admitSocket(head, world.now);
    return 0;
}
