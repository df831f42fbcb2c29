// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace sorvanel {

// A file-system path as the kernel sees it: bytes, '/' between components.
// One string and nothing else, so the hundreds of thousands of paths in a big
// plan cost one allocation each (std::filesystem::path keeps a list of its
// components besides). Converts to and from std::filesystem::path.
class Path
{
public:
    Path() = default;
    Path(std::string path)
        : m_path(std::move(path))
    {
    }
    Path(const char *path)
        : m_path(path)
    {
    }
    Path(std::string_view path)
        : m_path(path)
    {
    }
    Path(const std::filesystem::path &path)
        : m_path(path.native())
    {
    }
    operator std::filesystem::path() const { return std::filesystem::path(m_path); }

    const std::string &native() const { return m_path; }
    const std::string &string() const { return m_path; }
    const char *c_str() const { return m_path.c_str(); }
    bool empty() const { return m_path.empty(); }

    // The last component ("" when the path ends in '/').
    Path filename() const;
    // Everything before the last component, without the separator ("/" for "/a").
    Path parent_path() const;

    Path &operator/=(std::string_view component);
    Path &operator/=(const Path &component) { return *this /= std::string_view(component.m_path); }
    friend Path operator/(Path path, std::string_view component) { return path /= component; }
    friend Path operator/(Path path, const Path &component) { return path /= component; }
    friend Path operator/(Path path, const char *component) { return path /= std::string_view(component); }
    friend Path operator/(Path path, const std::string &component) { return path /= std::string_view(component); }

    bool operator==(const Path &other) const = default;
    auto operator<=>(const Path &other) const = default;

private:
    std::string m_path;
};

inline Path Path::filename() const
{
    const auto slash = m_path.rfind('/');
    return slash == std::string::npos ? *this : Path(m_path.substr(slash + 1));
}

inline Path Path::parent_path() const
{
    const auto slash = m_path.rfind('/');
    if (slash == std::string::npos)
        return Path();
    return Path(slash == 0 ? std::string("/") : m_path.substr(0, slash));
}

inline Path &Path::operator/=(std::string_view component)
{
    if (!component.empty() && component.front() == '/') {
        m_path.assign(component); // an absolute component replaces, as with std::filesystem
        return *this;
    }
    if (!m_path.empty() && m_path.back() != '/')
        m_path += '/';
    m_path += component;
    return *this;
}

// The last component of the path, as a view of it.
inline std::string_view filenameOf(const Path &path)
{
    const std::string &text = path.native();
    return std::string_view(text).substr(text.rfind('/') + 1);
}

// Whether the path lies below `root` (not `root` itself).
inline bool isBelow(const Path &path, const Path &root)
{
    const std::string &text = path.native();
    const std::string &top = root.native();
    return text.size() > top.size() + 1 && text.starts_with(top) && text[top.size()] == '/';
}

// Lets hash containers of std::string be searched with a std::string_view.
struct StringHash
{
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
};

} // namespace sorvanel
