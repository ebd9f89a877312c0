#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// The web pages that the hub serves beside its interface: its own page that says what it is, or
/// the files of a folder. All are read at the start and served from memory, so a request's path is
/// only ever a key here and never touches the file system.
class Site {
public:
    struct Page {
        std::string type;
        std::string body;
        std::string etag;
    };

    static constexpr std::size_t kMaxBytes = 64u << 20;

    /// The built-in page and its style sheet.
    Site();
    /// Every file below `folder`, `index.html` also as "/". Throws StartError when the folder
    /// cannot be read, has no index.html, or is larger than `kMaxBytes`.
    explicit Site(const std::filesystem::path& folder);

    /// The page at a request's path; null if there is none.
    [[nodiscard]] const Page* find(std::string_view path) const;
    /// The value of Content-Security-Policy for every page.
    [[nodiscard]] const std::string& policy() const { return m_policy; }

private:
    void add(std::string path, std::string type, std::string body);

    std::map<std::string, Page, std::less<>> m_pages;
    std::string m_policy;
};

} // namespace sorrelwind::relay
