#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace sorrelwind::relay {

/// The web pages that the hub serves beside its interface: its own page that says what it is, or
/// the files of a folder. All are read at the start and served from memory, so a request's path is
/// only ever a key here and never touches the file system. A file's neighbours FILE.br and FILE.gz
/// are no pages but the same page compressed.
class Site {
public:
    struct Variant {
        std::string encoding; ///< the value of Content-Encoding; empty for the page as it is
        std::string body;
        std::string etag;
    };
    struct Page {
        std::string type;
        std::string cacheControl;
        std::vector<Variant> variants; ///< the best first, the page as it is last

        [[nodiscard]] const Variant& bestFor(std::string_view acceptEncoding) const;
    };

    static constexpr std::size_t kMaxBytes = 64u << 20;

    /// The built-in page and its style sheet.
    Site();
    /// Every file below `folder`, `index.html` also as "/". Throws OptionError when the folder
    /// cannot be read, has no index.html, or is larger than `kMaxBytes`.
    explicit Site(const std::filesystem::path& folder);

    /// The page at a request's path; null if there is none.
    [[nodiscard]] const Page* find(std::string_view path) const;
    /// The value of Content-Security-Policy for every page. `host` as the request says it: some
    /// browsers do not take 'self' to include the WebSocket of the same origin.
    [[nodiscard]] std::string policy(std::string_view host) const;

private:
    void add(const std::string& path, std::string type, std::string body);
    /// Makes the pages named PATH + `suffix` variants of the pages named PATH.
    void takeVariants(std::string_view suffix, std::string_view encoding);

    std::map<std::string, Page, std::less<>> m_pages;
    bool m_isFolder = false;
};

/// The folder of the page that was built or installed with this program,
/// `../share/sorrelwind-hub/web` from the program's own; empty if there is none.
[[nodiscard]] std::filesystem::path installedSite();

} // namespace sorrelwind::relay
