// SPDX-License-Identifier: MIT
/**
 * @file
 * A constant list. Copies share its elements.
 */
#ifndef RYNVEL_MAPS_SHAREDLIST_H
#define RYNVEL_MAPS_SHAREDLIST_H

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace Maps {

/** A list of constant elements. A copy costs as much as a copy of a pointer. */
template <typename T>
class SharedList {
public:
    SharedList() = default;
    explicit SharedList(std::vector<T> elements)
        : m_elements(std::make_shared<const std::vector<T>>(std::move(elements))) {}

    /** Shares a list. Do not change the list afterwards. */
    explicit SharedList(std::shared_ptr<const std::vector<T>> elements) : m_elements(std::move(elements)) {}

    const T* begin() const { return m_elements ? m_elements->data() : nullptr; }
    const T* end() const { return begin() + size(); }
    std::size_t size() const { return m_elements ? m_elements->size() : 0; }
    bool empty() const { return size() == 0; }
    /** Returns the element at an index. The index must be below size(). */
    const T& operator[](std::size_t index) const { return (*m_elements)[index]; }

private:
    std::shared_ptr<const std::vector<T>> m_elements;
};

} // namespace Maps

#endif
