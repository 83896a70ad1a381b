// Test helper: sets environment variables for one scope and, when the scope ends, puts back what
// was there before (or removes them again), so a failing assertion cannot leak a setting into
// the tests that follow.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class ScopedEnvironment
{
public:
    ScopedEnvironment() = default;
    ScopedEnvironment(const char* name, const char* value) { Set(name, value); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment()
    {
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it)
            it->second ? setenv(it->first.c_str(), it->second->c_str(), 1)
                       : unsetenv(it->first.c_str());
    }

    // A null value removes the variable.
    void Set(const char* name, const char* value)
    {
        const char* old = std::getenv(name);
        m_saved.emplace_back(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> m_saved;
};
