// Storage for an object that must stay usable as long as any thread can reach
// it: built in place by its static initialiser and never destroyed. Threads
// that still call into the library while the process exits, even after the
// library's own destructors have run, find it intact; and it leaves no heap
// block behind when the library is unloaded.
#pragma once

#include <new>
#include <utility>

template <class T>
class TpNeverDestroyed
{
public:
    template <typename... TArgs>
    explicit TpNeverDestroyed(TArgs&&... args)
    {
        new (m_aucStorage) T(std::forward<TArgs>(args)...);
    }
    TpNeverDestroyed(const TpNeverDestroyed&) = delete;
    TpNeverDestroyed& operator=(const TpNeverDestroyed&) = delete;

    T& Get() { return *std::launder(reinterpret_cast<T*>(m_aucStorage)); }

private:
    alignas(T) unsigned char m_aucStorage[sizeof(T)];
};
