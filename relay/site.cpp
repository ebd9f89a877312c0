#include "relay/site.h"

#include "relay/base64.h"
#include "relay/identity.h"
#include "relay/state_directory.h"
#include "relay/welcome_page.h"

#include <array>
#include <fstream>
#include <span>
#include <utility>

namespace sorrelwind::relay {

namespace {

namespace fs = std::filesystem;

// The link that opens a page carries a pairing code and a key in its fragment: no script, style,
// image or request may come from or go to anywhere else.
constexpr auto kBuiltInPolicy = "default-src 'none'; style-src 'self'; base-uri 'none'; "
                                "form-action 'none'; frame-ancestors 'none'";
constexpr auto kFolderPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "font-src 'self'; connect-src 'self'; manifest-src 'self'; worker-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

constexpr std::array<std::pair<std::string_view, std::string_view>, 13> kTypes{{
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".json", "application/json"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".ico", "image/x-icon"},
    {".woff2", "font/woff2"},
    {".wasm", "application/wasm"},
    {".map", "application/json"},
}};

std::string typeOf(const fs::path& file) {
    const auto extension = file.extension().string();
    for (const auto& [suffix, type] : kTypes)
        if (suffix == extension)
            return std::string(type);
    return "application/octet-stream";
}

/// The file's content; throws StartError before it reads more than `room` bytes.
std::string contentOf(const fs::path& file, std::size_t room) {
    std::error_code error;
    const auto size = fs::file_size(file, error);
    if (!error && size > room)
        throw StartError(file.string() + " is too large: the files of a site may have " +
                         std::to_string(Site::kMaxBytes) + " bytes together");
    std::string content(error ? 0 : size, '\0');
    std::ifstream stream(file, std::ios::binary);
    if (error || !stream.read(content.data(), static_cast<std::streamsize>(content.size())))
        throw StartError("cannot read " + file.string());
    return content;
}

} // namespace

Site::Site() : m_policy(kBuiltInPolicy) {
    add("/", "text/html; charset=utf-8", std::string(kWelcomePage));
    add("/index.html", "text/html; charset=utf-8", std::string(kWelcomePage));
    add("/style.css", "text/css; charset=utf-8", std::string(kWelcomeStyle));
}

Site::Site(const fs::path& folder) : m_policy(kFolderPolicy) {
    std::error_code error;
    std::size_t total = 0;
    fs::recursive_directory_iterator entry(folder, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const auto& file = entry->path();
        if (file.filename().string().starts_with('.')) {
            entry.disable_recursion_pending();
            continue;
        }
        std::error_code deadEnd; // such as a link to nowhere, or to itself
        if (!entry->is_regular_file(deadEnd))
            continue;
        auto content = contentOf(file, kMaxBytes - total);
        total += content.size();
        add('/' + fs::relative(file, folder).generic_string(), typeOf(file), std::move(content));
    }
    if (error)
        throw StartError("cannot read the folder " + folder.string() + ": " + error.message());
    const auto index = m_pages.find("/index.html");
    if (index == m_pages.end())
        throw StartError("the folder " + folder.string() + " has no index.html");
    m_pages["/"] = index->second;
}

const Site::Page* Site::find(std::string_view path) const {
    const auto page = m_pages.find(path);
    return page == m_pages.end() ? nullptr : &page->second;
}

void Site::add(std::string path, std::string type, std::string body) {
    const auto digest = sha256(body);
    auto etag = '"' + base64Url(std::span(digest).first<16>()) + '"';
    m_pages[std::move(path)] = {std::move(type), std::move(body), std::move(etag)};
}

} // namespace sorrelwind::relay
