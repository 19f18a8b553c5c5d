#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

// Why an operation failed: a code for programs and a message for people. The message is one
// line in plain words, ready to follow "could not ...: ".
struct Error {
    enum Code : int {
        // Nothing more precise to say than the message.
        Failed = 0,
        // The file or folder is not there.
        NotFound,
        // The bytes are not what they should be.
        Malformed,
        // Reading, writing or creating failed.
        Io,
        // More than the limit allows.
        TooLarge,
    };

    Code code = Failed;
    QString message;

    bool operator==(const Error &) const = default;
};

// The value an operation made, or the Error that stopped it: what free functions, static
// functions and readers return (objects instead return bool and keep errorString()). The
// compiler has no std::expected yet.
template<typename T> class Result
{
public:
    Result(const T &value)
        : m_state(std::in_place_index<0>, value)
    {}
    Result(T &&value)
        : m_state(std::in_place_index<0>, std::move(value))
    {}
    Result(Error error)
        : m_state(std::in_place_index<1>, std::move(error))
    {}

    bool ok() const { return m_state.index() == 0; }
    explicit operator bool() const { return ok(); }

    // Only when ok().
    const T &value() const & { return std::get<0>(m_state); }
    T &value() & { return std::get<0>(m_state); }
    T &&value() && { return std::get<0>(std::move(m_state)); }
    const T &operator*() const & { return value(); }
    T &operator*() & { return value(); }
    T &&operator*() && { return std::get<0>(std::move(m_state)); }
    const T *operator->() const { return &value(); }
    T *operator->() { return &value(); }

    // Only when !ok().
    const Error &error() const { return std::get<1>(m_state); }
    // The message when !ok(), empty otherwise.
    QString errorString() const { return ok() ? QString() : error().message; }

    // The value, or `fallback` when there is none.
    T valueOr(T fallback) const & { return ok() ? value() : std::move(fallback); }

private:
    std::variant<T, Error> m_state;
};

// For operations that make nothing: success, or the Error that stopped them.
template<> class Result<void>
{
public:
    Result() = default;
    Result(Error error)
        : m_error(std::move(error))
    {}

    bool ok() const { return !m_error; }
    explicit operator bool() const { return ok(); }
    const Error &error() const { return *m_error; }
    QString errorString() const { return ok() ? QString() : m_error->message; }

private:
    std::optional<Error> m_error;
};
