#pragma once

#include <QList>

// A QList used as a queue, front first. Elements compare with their own ==; shared pointers compare
// by identity, so exactly that object is removed.
namespace TVRQueue {

// The front element, after removing every element equal to it; a default-constructed T (null for
// pointers) when the list is empty.
template<typename T> T pop(QList<T> &list)
{
    if (list.isEmpty())
        return T{};
    T front = list.first();
    list.removeAll(front);
    return front;
}

// Removes every element equal to `object` and returns it.
template<typename T> T popObject(QList<T> &list, const T &object)
{
    T kept = object;
    list.removeAll(kept);
    return kept;
}

} // namespace TVRQueue
