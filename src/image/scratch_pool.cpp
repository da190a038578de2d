#include <cstdlib>
#include <new>

#include "rastrel/rastrel.h"

namespace {

/// Holds the pool's lock for its own lifetime.
class PoolLock {
public:
    explicit PoolLock(CriticalSection& lock) : lock_(lock) { lock_.Enter(); }
    ~PoolLock() { lock_.Leave(); }
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;

private:
    CriticalSection& lock_;
};

/// Takes the first node that fits out of a list; null when there is none.
template <class Node, class Fits>
Node* unlink(Node*& head, Fits fits) {
    for (Node** link = &head; *link != nullptr; link = &(*link)->next) {
        Node* const node = *link;
        if (!fits(*node)) continue;
        *link = node->next;
        return node;
    }
    return nullptr;
}

template <class Node>
void push(Node*& head, Node* node) {
    node->next = head;
    head = node;
}

template <class Node>
void freeAll(Node*& head) {
    while (head != nullptr) {
        Node* const node = head;
        head = node->next;
        std::free(node->buffer);
        delete node;
    }
}

} // namespace

Rastrel::ScratchBufferPool::~ScratchBufferPool() {
    const PoolLock lock(lock_);
    freeAll(free_);
    freeAll(used_);
}

void* Rastrel::ScratchBufferPool::get(std::uint32_t size) {
    const PoolLock lock(lock_);
    Node* node = unlink(free_, [size](const Node& candidate) { return candidate.size == size; });
    if (node == nullptr) {
        node = new (std::nothrow) Node{std::malloc(size != 0 ? size : 1), size, nullptr};
        if (node == nullptr) return nullptr;
        if (node->buffer == nullptr) {
            delete node;
            return nullptr;
        }
    }
    push(used_, node);
    return node->buffer;
}

void Rastrel::ScratchBufferPool::release(void* buffer) {
    const PoolLock lock(lock_);
    Node* const node = unlink(used_, [buffer](const Node& candidate) { return candidate.buffer == buffer; });
    if (node != nullptr) push(free_, node);
}
