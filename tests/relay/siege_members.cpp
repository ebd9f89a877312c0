// Who has a token, or had one: memory, frames, floods, and staying after a removal.

#include "tests/relay/siege_attacks.h"

#include <algorithm>

namespace sorrelwind::relay::test {

namespace {

using namespace std::chrono_literals;
namespace json = boost::json;

constexpr std::size_t kLarge = std::size_t{7} << 20;
constexpr int kUnread = 4096; ///< a receive buffer that soon is full

std::string publishFrame(const std::string& id, const std::string& payload = "sw1.x.y") {
    return frame(json::serialize(json::object{{"type", "publish"}, {"item", item(id, payload)}}));
}

int post(Ground& ground, const Device& by, const json::object& published) {
    return Peer(ground.hub(), ground.address())
        .exchange(httpRequest("POST", "/items", json::serialize(published), by.token))
        .status;
}

/// A socket that has been greeted.
Peer greeted(Ground& ground, const Device& device) {
    Peer peer(ground.hub(), ground.address());
    if (peer.upgrade(device.token) != 101 || !peer.messageWith("\"hello\""))
        throw std::runtime_error("no greeting");
    return peer;
}

/// The crowd's sockets that the hub has closed.
std::size_t closed(Crowd& crowd) {
    return static_cast<std::size_t>(std::count_if(crowd.begin(), crowd.end(), [](Peer& peer) {
        while (peer.pull())
            peer.discard();
        return peer.over();
    }));
}

void unreadGreetings(Ground& ground, Verdict& verdict) {
    const auto devices = ground.group(ground.size(9, 18));
    post(ground, devices.front(), item("large", std::string(kLarge, 'x')));
    auto crowd = ground.sockets({devices.begin() + 1, devices.end()}, 4, kUnread);
    verdict.seen = std::to_string(crowd.size()) + " sockets";
}

void halfSentMessages(Ground& ground, Verdict& verdict) {
    auto crowd = ground.sockets(ground.group(ground.size(8, 18)), 4);
    const auto bytes = frameHead(kLarge + 1) + R"({"type":"publish","item":{"payload":")" +
                       std::string(kLarge - 100, 'x');
    const auto taken = pour(crowd, bytes, {ground.full() ? 20s : 5s});
    ground.calm();
    verdict.seen = std::to_string(taken >> 20) + " MiB taken of " + std::to_string(crowd.size()) +
                   " sockets, " + std::to_string(closed(crowd)) + " closed";
}

/// The same by REST, whose bodies are as large.
void halfSentItems(Ground& ground, Verdict& verdict) {
    const auto devices = ground.group(2);
    auto crowd = ground.crowd(ground.size(32, 128));
    const auto bytes = httpRequest("POST", "/items", std::string(kLarge, ' '), devices[0].token);
    const auto taken = pour(crowd, std::string_view(bytes).substr(0, bytes.size() - 1),
                            {ground.full() ? 20s : 5s});
    ground.calm();
    verdict.seen = std::to_string(taken >> 20) + " MiB taken";
}

/// Each of many groups keeps the hub holding an item for a device that never comes.
void heldItems(Ground& ground, Verdict& verdict) {
    int held = 0;
    const int groups = ground.size(20, 60);
    for (int i = 0; i < groups; ++i) {
        const auto devices = ground.group(2);
        held += post(ground, devices.front(), item("held", std::string(kLarge, 'x'))) == 200;
    }
    verdict.seen = std::to_string(held) + " of " + std::to_string(groups) + " accepted";
}

/// Many groups that hold a little each, so that none of them is the greediest by much.
void manyHoards(Ground& ground, Verdict& verdict) {
    std::vector<Device> devices;
    for (int i = 0; i < ground.size(80, 240); ++i)
        devices.push_back(ground.group(1).front());
    auto crowd = ground.sockets(devices, 4);
    const auto bytes =
        frameHead(kLarge) + R"({"type":"publish","item":{"payload":")" + std::string(400'000, 'x');
    const auto taken = pour(crowd, bytes, {ground.full() ? 20s : 5s});
    ground.calm();
    verdict.seen = std::to_string(taken >> 20) + " MiB taken of " + std::to_string(devices.size()) +
                   " groups, " + std::to_string(closed(crowd)) + " sockets closed";
}

void slowReaders(Ground& ground, Verdict& verdict) {
    const auto devices = ground.group(5);
    auto crowd = ground.sockets({devices.begin() + 1, devices.end()}, 4, kUnread);
    for (int i = 0; i < ground.size(6, 30); ++i)
        post(ground, devices.front(), item("i" + std::to_string(i), std::string(kLarge, 'x')));
    for (auto& peer : crowd)
        verdict.expect(peer.readToEnd(), "a slow reader is not closed");
    verdict.seen = std::to_string(crowd.size()) + " sockets";
}

void unreadAcks(Ground& ground, Verdict& verdict) {
    auto crowd = ground.sockets(ground.group(ground.size(2, 8)), 4, kUnread);
    std::string bytes;
    while (bytes.size() < 1 << 20)
        bytes += frame(R"({"type":"publish","item":{"id":"x"}})");
    const auto taken = pour(crowd, bytes, {ground.full() ? 20s : 2s, false, true});
    ground.calm();
    verdict.seen = std::to_string(taken >> 10) + " KiB of frames taken, " +
                   std::to_string(closed(crowd)) + " closed";
}

void publishFlood(Ground& ground, Verdict& verdict) {
    auto crowd = ground.sockets(ground.group(2), 4);
    std::string bytes;
    for (int i = 0; i < 2000; ++i)
        bytes += publishFrame("flood-" + std::to_string(i));
    const auto taken = pour(crowd, bytes, {ground.full() ? 10s : 1s, true, true});
    verdict.seen = std::to_string(taken >> 10) + " KiB of frames taken";
}

/// Items far beyond the rate, each of megabytes.
void largeFlood(Ground& ground, Verdict& verdict) {
    auto crowd = ground.sockets({ground.group(2).front()}, 4);
    const auto taken = pour(crowd, publishFrame("large", std::string(kLarge, 'x')),
                            {ground.full() ? 10s : 2s, true, true});
    verdict.seen = std::to_string(taken >> 20) + " MiB of frames taken";
}

/// Writes of one member: most of them refused, the rest no more than the rate lets in.
void writeFlood(Ground& ground, Verdict& verdict) {
    const auto devices = ground.group(2);
    const auto& device = devices.back();
    Peer peer(ground.hub(), ground.address());
    for (const auto& bytes :
         {httpRequest("POST", "/pair", {}, device.token),
          httpRequest("PATCH", "/devices/" + device.id, R"({"name":"b"})", device.token),
          httpRequest("POST", "/crypto", R"({"salt":"AAAAAAAAAAAAAAAAAAAAAA=="})", device.token)}) {
        const auto started = std::chrono::steady_clock::now();
        int accepted = 0;
        for (int i = 0; i < ground.size(100, 500); ++i) {
            const auto reply = peer.exchange(bytes);
            accepted += reply.status == 200 ? 1 : 0;
            verdict.expect(reply.status == 200 ||
                               (reply.status == 429 && reply.headers.contains("retry-after")),
                           "answered " + std::to_string(reply.status));
        }
        const auto seconds =
            std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - started);
        verdict.seen += std::to_string(accepted) + " ";
        verdict.expect(accepted <= 20 + seconds.count(),
                       std::to_string(accepted) + " writes accepted");
    }
    verdict.seen += "writes accepted";
}

void largeFrames(Ground& ground, Verdict& verdict) {
    const auto devices = ground.group(1);
    std::string array = R"({"type":"unknown","x":[0)";
    while (array.size() < std::size_t{10} << 20)
        array += ",0";
    const std::pair<const char*, std::string> frames[] = {
        {"an unknown type of 10 MiB", frame(array + "]}")},
        {"a receipt of 128 KiB",
         frame(R"({"type":"received","id":"x","y":")" + std::string(128 << 10, 'y') + "\"}")},
        {"64 KiB and a byte that are no JSON", frame(std::string((64 << 10) + 1, '['))},
        {"a publish over the limit", frame(std::string(std::size_t{11} << 20, ' '))},
        {"a length of 2^62", frameHead(1ull << 62)},
    };
    for (const auto& [what, bytes] : frames) {
        for (int i = 0; i < ground.size(1, 5); ++i) {
            auto peer = greeted(ground, devices.front());
            peer.send(bytes);
            const int code = peer.closeCode();
            verdict.expect(code == 1009,
                           what + std::string(" closes with ") + std::to_string(code));
        }
    }
}

void oddFrames(Ground& ground, Verdict& verdict) {
    const auto device = ground.group(1).front();
    const std::string alive = publishFrame("alive");
    const std::tuple<const char*, std::string, int> frames[] = {
        {"unmasked", frame("{}", 0x81, false), 1002},
        {"a reserved bit", frame("{}", 0xc1), 1002},
        {"a reserved opcode", frame("{}", 0x83), 1002},
        {"a ping of 126 bytes", frame(std::string(126, 'x'), 0x89), 1002},
        {"a ping in fragments", frame("x", 0x09), 1002},
        {"a continuation of nothing", frame("x", 0x80), 1002},
        {"a message inside another", frame("x", 0x01) + frame("x", 0x81), 1002},
        {"a close with a code that is none", frame(std::string("\x03\xed", 2), 0x88), 1002},
        {"text that is no UTF-8", frame("\xff\xfe", 0x81), 1007},
        {"no JSON", frame("rubbish") + alive, 0},
        {"deep JSON", frame(std::string(60000, '[')) + alive, 0},
        {"an empty message", frame("") + alive, 0},
        {"a type that is no text", frame(R"({"type":[1,2]})") + alive, 0},
    };
    for (const auto& [what, bytes, code] : frames) {
        auto peer = greeted(ground, device);
        peer.send(bytes);
        if (code != 0) {
            const int got = peer.closeCode();
            verdict.expect(got == code, what + std::string(" closes with ") + std::to_string(got));
        } else {
            verdict.expect(peer.messageWith("\"alive\"").has_value(),
                           what + std::string(" ended the socket"));
        }
    }
    verdict.seen = std::to_string(std::size(frames)) + " frames";
}

/// Pings whose pongs nobody reads, and messages in fragments of nothing.
void smallFrames(Ground& ground, Verdict& verdict) {
    const auto device = ground.group(1).front();
    std::string pings;
    std::string fragments = frame("{", 0x01);
    while (pings.size() < 1 << 20) {
        pings += frame(std::string(100, 'p'), 0x89);
        fragments += frame("", 0x00);
    }
    for (const auto& bytes : {pings, fragments}) {
        auto crowd = ground.sockets({device}, 4, kUnread);
        const auto taken = pour(crowd, bytes, {ground.full() ? 10s : 1s, false, &bytes == &pings});
        verdict.seen += std::to_string(taken >> 10) + " KiB ";
    }
    verdict.seen += "taken";
}

void manySockets(Ground& ground, Verdict& verdict) {
    const auto device = ground.group(1).front();
    auto crowd = ground.sockets({device}, ground.size(40, 200));
    const auto newest = crowd.end() - 4;
    for (auto peer = crowd.begin(); peer != newest; ++peer)
        verdict.expect(peer->reply().status == 101 && peer->closeCode() == 1008,
                       "an old socket is not closed");
    newest->reply();
    newest->send(publishFrame("alive"));
    verdict.expect(newest->messageWith("\"alive\"").has_value(), "a new socket is closed");
    verdict.seen = std::to_string(crowd.size()) + " sockets";
}

/// A device is removed in the instant in which its socket opens: the hub meets both at once.
void removedWhileOpening(Ground& ground, Verdict& verdict) {
    const int tries = ground.size(10, 18); // as many as its writes allow
    int stayed = 0;
    const auto owner = ground.group(1).front();
    auto listener = greeted(ground, owner);
    for (int i = 0; i < tries; ++i) {
        const auto gone = invite(ground.hub(), ground.address(), owner);
        Peer opening(ground.hub(), ground.address());
        Peer removing(ground.hub(), ground.address());
        // Both connections are served before, so that neither is slower than the other.
        opening.exchange(httpRequest("GET", "/healthz"));
        removing.exchange(httpRequest("GET", "/healthz"));
        ground.pause();
        opening.send(upgradeRequest(gone.token));
        removing.send(httpRequest("DELETE", "/devices/" + gone.id, {}, gone.token));
        ground.resume();
        const bool removed = removing.reply().status == 200;
        const auto secret = "after-" + std::to_string(i);
        post(ground, owner, item(secret));
        opening.send(publishFrame("forged-" + std::to_string(i)));
        bool over = opening.reply().status == 401;
        bool heard = false;
        while (const auto next = over ? std::nullopt : opening.message()) {
            over = next->opcode == 8;
            heard = heard || next->payload.find(secret) != std::string::npos;
        }
        verdict.expect(removed, "not removed");
        stayed += over && !heard ? 0 : 1;
        if (stayed > 0)
            break; // each further one would cost the whole patience
    }
    listener.pull();
    verdict.expect(stayed == 0, "a removed device stayed in");
    verdict.expect(listener.inbox().find("forged-") == std::string::npos,
                   "a removed device published");
    verdict.seen = std::to_string(tries) + " tries";
}

/// A device is removed while its open socket and its half-sent request are there.
void removedInFlight(Ground& ground, Verdict& verdict) {
    const auto devices = ground.group(2);
    const auto& gone = devices.back();
    auto listener = greeted(ground, devices.front());
    auto socket = greeted(ground, gone);
    const std::string requests[] = {
        httpRequest("POST", "/items", json::serialize(item("forged")), gone.token),
        httpRequest("PATCH", "/devices/" + devices.front().id, R"({"name":"forged"})", gone.token),
        httpRequest("POST", "/crypto", R"({"salt":"AAAAAAAAAAAAAAAAAAAAAA=="})", gone.token)};
    Crowd halves = ground.crowd(static_cast<int>(std::size(requests)));
    for (std::size_t i = 0; i < halves.size(); ++i)
        halves[i].send(std::string_view(requests[i]).substr(0, requests[i].size() - 1));
    Peer removing(ground.hub(), ground.address());
    const auto reply =
        removing.exchange(httpRequest("DELETE", "/devices/" + gone.id, {}, devices.front().token));
    verdict.expect(reply.status == 200, "not removed");
    for (std::size_t i = 0; i < halves.size(); ++i) {
        halves[i].send(std::string_view(requests[i]).substr(requests[i].size() - 1));
        const int status = halves[i].reply().status;
        verdict.expect(status == 401, "answered " + std::to_string(status));
    }
    socket.send(publishFrame("forged"));
    verdict.expect(socket.messageWith("\"removed\"").has_value(), "not told");
    verdict.expect(socket.closeCode() == 1008, "not closed");
    verdict.expect(socket.inbox().find("\"item\"") == std::string::npos, "an item after removal");
    const int again = Peer(ground.hub(), ground.address()).upgrade(gone.token);
    verdict.expect(again == 401, "its token still opens a socket");
    listener.send(publishFrame("own"));
    const auto own = listener.messageWith("\"own\"");
    verdict.expect(own.has_value(), "the rest of the group is not served");
    verdict.expect(listener.inbox().find("forged") == std::string::npos, "something was forged");
}

} // namespace

std::vector<Attack> attacksOfMembers() {
    return {
        {"unread greetings", Walls::plain,
         "a 7 MiB item and 4 sockets of each other device that do not read",
         "memory bounded: greetings share the item", unreadGreetings},
        {"half-sent messages", Walls::plain, "7 MiB of a message on 4 sockets of each device",
         "memory bounded", halfSentMessages},
        {"half-sent items", Walls::plain, "bodies of 7 MiB without their last byte",
         "memory bounded", halfSentItems},
        {"held items", Walls::plain, "a 7 MiB item in each of 20 groups for a device that is away",
         "memory bounded", heldItems},
        {"many hoards", Walls::plain, "80 groups with 1.6 MB of unfinished messages each",
         "memory bounded", manyHoards},
        {"slow readers", Walls::plain, "items of 7 MiB to 16 sockets that do not read",
         "memory bounded, the sockets are closed", slowReaders},
        {"unread acks", Walls::plain, "publishes without end whose acks nobody reads",
         "memory bounded", unreadAcks},
        {"publish flood", Walls::plain, "good items without end on 8 sockets", "429 to most",
         publishFlood},
        {"large flood", Walls::plain, "an item of 7 MiB again and again on 4 sockets",
         "429 to most", largeFlood},
        {"write flood", Walls::plain, "pairing codes, names and salts without end",
         "20 at once and 1 a second", writeFlood},
        {"large frames", Walls::plain, "frames over 64 KiB that publish nothing, or over the limit",
         "1009", largeFrames},
        {"odd frames", Walls::plain, "frames against RFC 6455, and messages that are none",
         "1002, 1007, or ignored", oddFrames},
        {"small frames", Walls::plain, "pings without end, messages of empty fragments",
         "memory bounded", smallFrames},
        {"many sockets", Walls::plain, "40 sockets of one device", "the newest 4 stay",
         manySockets},
        {"removed while opening", Walls::plain,
         "a socket opens in the instant of its device's removal", "it gets and sends nothing",
         removedWhileOpening},
        {"removed in flight", Walls::plain,
         "requests half sent and a socket open when their device is removed",
         "401, \"removed\" and 1008", removedInFlight},
    };
}

} // namespace sorrelwind::relay::test
