#pragma once

#include <optional>
#include <system_error>
#include <utility>

namespace session {

// A value, or the error because of which there is none.
template <typename T>
class Result
{
public:
    Result(T value) // NOLINT(google-explicit-constructor): a function returns either
        : m_value(std::move(value))
    {
    }
    Result(std::error_code error) // NOLINT(google-explicit-constructor)
        : m_error(error)
    {
    }

    explicit operator bool() const { return m_value.has_value(); }
    std::error_code error() const { return m_error; }

    // Only if there is a value.
    const T &operator*() const { return *m_value; }
    const T *operator->() const { return &*m_value; }

private:
    std::optional<T> m_value;
    std::error_code m_error;
};

} // namespace session
