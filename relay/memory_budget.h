#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace sorrelwind::relay {

/// Counts what is queued, held or half-received, by owner: a group, or the address of a stranger.
/// Beyond the limit the owner with the most parts with its largest holders until the rest fits, so
/// that nobody else notices. Without I/O; owned by the hub, outlives every charge.
class MemoryBudget {
    struct Owner;

public:
    /// Something that can be parted with, such as a socket with its queue.
    class Holder {
    public:
        virtual ~Holder() = default;
        /// The heaviest goes first. 0 = there is nothing to give up.
        [[nodiscard]] virtual std::uint64_t weight() const = 0;
        /// Gives back at once what it was charged for, and weighs 0 from then on. Called out of
        /// whatever growth was one too many, maybe its own.
        virtual void giveUp() = 0;
    };

    /// Bytes that count for an owner until its end. An empty one counts for nobody.
    class Charge {
    public:
        Charge() = default;
        /// `holder` can be asked to give up for as long as the charge lives.
        Charge(MemoryBudget& budget, const std::string& owner, std::uint64_t bytes = 0,
               Holder* holder = nullptr);
        ~Charge();
        Charge(Charge&& other) noexcept;
        Charge& operator=(Charge&& other) noexcept;

        void resize(std::uint64_t bytes);
        [[nodiscard]] std::uint64_t bytes() const { return m_bytes; }

    private:
        MemoryBudget* m_budget = nullptr;
        Owner* m_owner = nullptr;
        Holder* m_holder = nullptr;
        std::uint64_t m_bytes = 0;
    };

    /// `limit` in bytes; 0 = none.
    explicit MemoryBudget(std::uint64_t limit) : m_limit(limit) {}
    MemoryBudget(const MemoryBudget&) = delete;
    MemoryBudget& operator=(const MemoryBudget&) = delete;

    /// Whether `owner` may have this much more: it fits, or another one has more than both.
    [[nodiscard]] bool admits(const std::string& owner, std::uint64_t bytes) const;
    [[nodiscard]] std::uint64_t total() const { return m_total; }

private:
    struct Owner {
        const std::string* name = nullptr;
        std::uint64_t bytes = 0;
        std::size_t charges = 0;
        std::vector<Holder*> holders;
    };

    /// Null if it has nothing to give up.
    [[nodiscard]] static Holder* heaviest(const Owner& owner);
    /// The heaviest of the owner with the most.
    [[nodiscard]] Holder* next() const;
    void relieve();

    std::uint64_t m_limit;
    std::uint64_t m_total = 0;
    std::unordered_map<std::string, Owner> m_owners;
};

} // namespace sorrelwind::relay
