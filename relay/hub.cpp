#include "relay/hub.h"

#include "relay/identity.h"
#include "relay/pairing_code.h"

#include <algorithm>

namespace sorrelwind::relay {

namespace {

using namespace std::chrono_literals;

constexpr auto kSweepEvery = 60s;
constexpr auto kProbeEvery = 5s;
constexpr std::size_t kMaxToken = 256;
constexpr double kAttempts = 4; ///< times the limit of accepted items

constexpr auto kUnusedFor = 24h;
constexpr int kMostForgotten = 256;            ///< a minute, so that nobody waits for it
constexpr std::string_view kDoctor = "doctor"; ///< the platform of its device
constexpr double kWriteRate = 1;
constexpr double kWriteBurst = 20;
constexpr double kGroupWriteRate = 2;

Refusal tooMany(const char* text, int retryAfter) {
    return {429, text, retryAfter};
}

} // namespace

Hub::Hub(Store& store, const Limits& limits)
    : m_store(store), m_limits(limits), m_memory(limits.maxMemory),
      m_bus([this](const std::string& group) { return roster(group); }, limits.itemTtl, m_memory),
      m_publishes(limits.publishRate, limits.publishBurst),
      m_attempts(limits.publishRate * kAttempts, limits.publishBurst * kAttempts),
      m_writes(kWriteRate, kWriteBurst), m_groupWrites(kGroupWriteRate, kWriteBurst),
      m_newGroups(limits.newGroups, 1h), m_doctorGroups(limits.newGroups, 1h),
      m_failedClaims(limits.claimFailures, 1min), m_allFailedClaims(0, 1min) {}

std::vector<DeviceRecord> Hub::roster(const std::string& group) {
    auto devices = m_store.devices(group);
    for (auto& device : devices)
        device.lastSeen = m_lastSeen.of(device.id, device.lastSeen);
    return devices;
}

DeviceRecord Hub::newDevice(const NewDevice& device, const Now& now) {
    return {newId(), device.name, device.platform, now.unixMs, now.unixMs};
}

std::optional<Member> Hub::authenticate(std::string_view token, const Now& now) {
    if (token.empty() || token.size() > kMaxToken)
        return std::nullopt;
    auto member = m_store.memberByToken(sha256(token));
    if (member)
        m_lastSeen.note(member->device, now.unixMs);
    return member;
}

Answer<Hub::Joined> Hub::createGroup(const NewDevice& device, const Address& client,
                                     const Now& now) {
    const auto key = limitKey(client);
    auto& limit = device.platform == kDoctor ? m_doctorGroups : m_newGroups;
    if (const int wait = limit.waitFor(key, now.steady))
        return tooMany("too many new groups from this address", wait);
    const auto group = newId();
    Joined joined{group, newDevice(device, now), newToken(group)};
    m_store.createGroup(group, joined.device, sha256(joined.token));
    limit.count(key, now.steady);
    logEvent("group created",
             {{"device", joined.device.id}, {"client", m_pseudonyms.of(client, now.unixMs)}});
    return joined;
}

bool Hub::isForDoctor(const std::string& group) {
    const auto devices = m_store.devices(group);
    return !devices.empty() && devices.front().platform == kDoctor;
}

Answer<Hub::Code> Hub::createCode(const Member& member, const Now& now) {
    if (isForDoctor(member.group))
        return Refusal{403, "no device can join a group of the doctor's"};
    const auto code = newPairingCode();
    const std::chrono::milliseconds lifetime = kCodeLifetime;
    const auto expiresAt = now.unixMs + lifetime.count();
    m_store.addCode(sha256(*canonicalCode(code)), member, now.unixMs, expiresAt, kMaxLiveCodes);
    logEvent("pairing opened", {{"device", member.device}});
    return Code{code, expiresAt};
}

std::optional<Refusal> Hub::claimsBlocked(const std::string& key, const Now& now) {
    int wait = m_failedClaims.waitFor(key, now.steady);
    if (wait == 0 && m_limits.claimFailures > 0) {
        m_allFailedClaims.setLimit(allowedGuesses(m_store.liveCodes(now.unixMs)));
        wait = m_allFailedClaims.waitFor({}, now.steady);
    }
    if (wait == 0)
        return std::nullopt;
    return tooMany("too many wrong pairing codes", wait);
}

Answer<Hub::Joined> Hub::claim(const Claim& claim, const Address& client, const Now& now) {
    const auto key = limitKey(client);
    if (auto refusal = claimsBlocked(key, now))
        return std::move(*refusal);

    const auto code = canonicalCode(claim.code);
    const auto hash = sha256(code.value_or(""));
    const auto group = code ? m_store.groupOfCode(hash, now.unixMs) : std::nullopt;
    if (!group) {
        m_failedClaims.count(key, now.steady);
        m_allFailedClaims.count({}, now.steady);
        logEvent("claim refused", {{"client", m_pseudonyms.of(client, now.unixMs)}});
        return Refusal{403, "the pairing code is wrong, used or no longer valid"};
    }

    Joined joined{*group, newDevice(claim.device, now), newToken(*group)};
    const auto outcome = m_store.joinByCode(hash, joined.device, sha256(joined.token), now.unixMs,
                                            m_limits.maxDevices);
    if (outcome == Store::Join::groupFull)
        return Refusal{409, "the group is full: it may have " +
                                std::to_string(m_limits.maxDevices) + " devices"};
    if (outcome == Store::Join::noSuchCode)
        return Refusal{403, "the pairing code is wrong, used or no longer valid"};
    logEvent("device joined",
             {{"device", joined.device.id}, {"client", m_pseudonyms.of(client, now.unixMs)}});
    changed(*group, now);
    return joined;
}

std::optional<CryptoRecord> Hub::crypto(const Member& member) {
    return m_store.crypto(member.group);
}

CryptoRecord Hub::setCrypto(const Member& member, const std::string& salt) {
    CryptoRecord record;
    record.salt = salt;
    return m_store.setCrypto(member.group, record);
}

Answer<void> Hub::rename(const Member& member, const std::string& device, const std::string& name,
                         const Now& now) {
    if (!m_store.rename({member.group, device}, name))
        return Refusal{404, "the group has no such device"};
    changed(member.group, now);
    return {};
}

Answer<void> Hub::remove(const Member& member, const std::string& device, const Now& now) {
    const Member gone{member.group, device};
    const auto removal = m_store.remove(gone);
    if (removal == Store::Removal::noSuchDevice)
        return Refusal{404, "the group has no such device"};
    m_lastSeen.forget(device);
    m_bus.removed(gone, now);
    if (removal == Store::Removal::lastDevice)
        m_bus.forget(member.group);
    logEvent("device removed", {{"device", device}});
    tickSoon();
    return {};
}

Answer<void> Hub::admitRemoval(const Member& member, const Now& now) {
    if (!m_writes.take(member.device, now.steady))
        return tooMany("too many changes in a short time", m_writes.refillTime());
    return {};
}

Answer<void> Hub::admitWrite(const Member& member, const Now& now) {
    if (auto admitted = admitRemoval(member, now); !admitted)
        return admitted;
    if (!m_groupWrites.take(member.group, now.steady))
        return tooMany("too many changes of this group in a short time",
                       m_groupWrites.refillTime());
    return {};
}

Answer<void> Hub::admitAttempt(const Member& member, const Now& now) {
    if (!m_attempts.take(member.device, now.steady))
        return tooMany("too many items in a short time", m_attempts.refillTime());
    return {};
}

Answer<int> Hub::publish(const Member& member, const Answer<Item>& item, const Now& now) {
    if (!item)
        return item.error();
    // Before the rate: who asks again after a lost answer is to get that answer.
    if (const auto recipients = m_bus.repeated(member.group, item->id, now))
        return *recipients;
    if (item->payload.size() > kSmall && !m_memory.admits(member.group, item->payload.size()))
        return memoryFull();
    if (!m_publishes.take(member.device, now.steady))
        return tooMany("too many items in a short time", m_publishes.refillTime());
    return m_bus.publish(member, *item, now);
}

bool Hub::ready(const Now& now) {
    if (m_probed && now.steady - *m_probed < kProbeEvery)
        return m_ready;
    m_probed = now.steady;
    m_ready = false;
    m_store.probe();
    m_ready = true;
    return m_ready;
}

void Hub::open(const Member& member, Outlet& outlet, const Now& now) {
    m_lastSeen.note(member.device, now.unixMs);
    if (!isForDoctor(member.group))
        m_store.markUsed(member.group);
    m_bus.join(member, outlet, now);
    tickSoon();
}

void Hub::frame(const Member& member, Outlet& outlet, std::string_view text, const Now& now) {
    const bool large = text.size() > kMaxBody;
    const auto acknowledge = [&](const std::string& ref, int status,
                                 std::optional<int> recipients) {
        outlet.send({ackFrame(ref, status, recipients)});
    };
    // A large one counts whatever it is, so that what is refused is not read.
    if (large && !admitAttempt(member, now))
        return acknowledge({}, 429, {});
    const auto frame = readFrame(text, m_limits.maxPayload);
    const auto* publishing = std::get_if<PublishFrame>(&frame);
    if (large && publishing == nullptr) {
        m_bus.leave(member, outlet, now);
        outlet.close(Goodbye::tooLarge);
        tickSoon();
        return;
    }
    if (const auto* received = std::get_if<ReceivedFrame>(&frame))
        return m_bus.received(member, received->id);
    const auto admitted = large ? Answer<void>() : admitAttempt(member, now);
    if (publishing == nullptr)
        return;

    m_lastSeen.note(member.device, now.unixMs);
    int status = 200;
    std::optional<int> recipients;
    try {
        const auto answer = admitted ? publish(member, publishing->item, now) : admitted.error();
        if (answer)
            recipients = *answer;
        else
            status = answer.error().status;
    } catch (const StoreError& error) {
        logEvent(error.what());
        status = 503;
    }
    acknowledge(publishing->ref, status, recipients);
}

void Hub::closed(const Member& member, const Outlet& outlet, const Now& now) {
    m_lastSeen.note(member.device, now.unixMs);
    m_bus.leave(member, outlet, now);
    tickSoon();
}

void Hub::changed(const std::string& group, const Now& now) {
    m_bus.changed(group, now);
    tickSoon();
}

void Hub::tickSoon() {
    if (m_onTickSoon)
        m_onTickSoon();
}

void Hub::tick(const Now& now) {
    try {
        m_bus.tick(now);
    } catch (const StoreError& error) {
        logEvent(error.what());
    }
    if (now.steady >= m_nextSweep)
        sweep(now);
}

void Hub::sweep(const Now& now) {
    m_nextSweep = now.steady + kSweepEvery;
    m_bus.sweep(now);
    m_publishes.sweep(now.steady);
    m_attempts.sweep(now.steady);
    m_writes.sweep(now.steady);
    m_groupWrites.sweep(now.steady);
    m_newGroups.sweep(now.steady);
    m_doctorGroups.sweep(now.steady);
    m_failedClaims.sweep(now.steady);
    m_allFailedClaims.sweep(now.steady);
    try {
        flush();
        forgetUnused(now);
    } catch (const StoreError& error) {
        logEvent(error.what());
    }
}

void Hub::forgetUnused(const Now& now) {
    const std::chrono::milliseconds patience = kUnusedFor;
    const int forgotten = m_store.removeUnused(now.unixMs - patience.count(), kMostForgotten);
    if (forgotten > 0)
        logEvent("unused groups forgotten", {{"groups", std::to_string(forgotten)}});
}

Steady Hub::nextTick() const {
    return std::min(m_nextSweep, m_bus.nextTick().value_or(m_nextSweep));
}

void Hub::stop() {
    m_stopping = true;
    m_bus.closeAll(Goodbye::stopping);
}

void Hub::flush() {
    m_store.saveLastSeen(m_lastSeen.pending());
    m_lastSeen.written();
}

} // namespace sorrelwind::relay
