/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The rules for the requests of clients, which may change while the server runs.
 */
#ifndef RYNVELD_CURRENTPOLICY_H
#define RYNVELD_CURRENTPOLICY_H

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "Policy.h"

namespace Rynveld {

/** The current policy. Threads: any number may use the object at once. */
class CurrentPolicy {
public:
    explicit CurrentPolicy(Policy policy)
        : m_policy(std::make_shared<const Policy>(std::move(policy))), m_latest(m_policy.get()) {}

    /** Returns the policy, which stays valid even if another policy replaces it. */
    std::shared_ptr<const Policy> get() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_policy;
    }

    /** Stores the current policy in `policy`. This is faster than get() if `policy` is already the current policy. */
    void update(std::shared_ptr<const Policy>& policy) const {
        if (policy.get() != m_latest) {
            policy = get();
        }
    }

    void replace(Policy policy) {
        auto next = std::make_shared<const Policy>(std::move(policy));
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_policy.swap(next);
        m_latest = m_policy.get();
    }

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<const Policy> m_policy;
    std::atomic<const Policy*> m_latest;
};

} // namespace Rynveld

#endif
