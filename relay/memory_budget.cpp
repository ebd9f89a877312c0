#include "relay/memory_budget.h"

#include <algorithm>
#include <utility>

namespace sorrelwind::relay {

MemoryBudget::Charge::Charge(MemoryBudget& budget, const std::string& owner, std::uint64_t bytes,
                             Holder* holder)
    : m_budget(&budget), m_holder(holder) {
    const auto entry = budget.m_owners.try_emplace(owner).first;
    m_owner = &entry->second;
    m_owner->name = &entry->first;
    ++m_owner->charges;
    if (holder != nullptr)
        m_owner->holders.push_back(holder);
    resize(bytes);
}

MemoryBudget::Charge::~Charge() {
    if (m_budget == nullptr)
        return;
    resize(0);
    std::erase(m_owner->holders, m_holder);
    if (--m_owner->charges == 0)
        m_budget->m_owners.erase(*m_owner->name);
}

MemoryBudget::Charge::Charge(Charge&& other) noexcept
    : m_budget(std::exchange(other.m_budget, nullptr)), m_owner(other.m_owner),
      m_holder(other.m_holder), m_bytes(std::exchange(other.m_bytes, 0)) {}

MemoryBudget::Charge& MemoryBudget::Charge::operator=(Charge&& other) noexcept {
    std::swap(m_budget, other.m_budget);
    std::swap(m_owner, other.m_owner);
    std::swap(m_holder, other.m_holder);
    std::swap(m_bytes, other.m_bytes);
    return *this;
}

void MemoryBudget::Charge::resize(std::uint64_t bytes) {
    if (m_budget == nullptr)
        return;
    const bool grows = bytes > m_bytes;
    m_owner->bytes += bytes - m_bytes;
    m_budget->m_total += bytes - m_bytes;
    m_bytes = bytes;
    if (grows)
        m_budget->relieve();
}

bool MemoryBudget::admits(const std::string& owner, std::uint64_t bytes) const {
    if (m_limit == 0 || m_total + bytes <= m_limit)
        return true;
    const auto own = m_owners.find(owner);
    const auto wanted = bytes + (own == m_owners.end() ? 0 : own->second.bytes);
    return std::any_of(m_owners.begin(), m_owners.end(), [&](const auto& other) {
        return other.second.bytes > wanted && heaviest(other.second) != nullptr;
    });
}

MemoryBudget::Holder* MemoryBudget::heaviest(const Owner& owner) {
    Holder* heaviest = nullptr;
    std::uint64_t weight = 0;
    for (auto* holder : owner.holders)
        if (holder->weight() > weight) {
            heaviest = holder;
            weight = holder->weight();
        }
    return heaviest;
}

MemoryBudget::Holder* MemoryBudget::next() const {
    Holder* next = nullptr;
    std::uint64_t most = 0;
    for (const auto& [name, owner] : m_owners) {
        if (owner.bytes <= most)
            continue;
        if (auto* holder = heaviest(owner)) {
            next = holder;
            most = owner.bytes;
        }
    }
    return next;
}

void MemoryBudget::relieve() {
    while (m_limit != 0 && m_total > m_limit) {
        auto* holder = next();
        if (holder == nullptr)
            return;
        holder->giveUp();
    }
}

} // namespace sorrelwind::relay
