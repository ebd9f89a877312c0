#include "relay/site.h"

#include "relay/base64.h"
#include "relay/content_negotiation.h"
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
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "manifest-src 'self'; worker-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'; connect-src 'self'";

/// In the order of preference: the smallest first.
constexpr std::array<std::pair<std::string_view, std::string_view>, 2> kCompressed{{
    {".br", "br"},
    {".gz", "gzip"},
}};

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

/// Files whose name changes with their content stay as they are; the page that names them is never
/// kept, so that what it names is what the hub has.
std::string cacheControlOf(std::string_view path, std::string_view type) {
    if (path.starts_with("/assets/"))
        return "public, max-age=31536000, immutable";
    return type.starts_with("text/html") ? "no-store" : "no-cache";
}

/// Nothing that could end the directive or begin another one.
bool isHostAndPort(std::string_view host) {
    constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                          "0123456789.-_:[]";
    return !host.empty() && host.size() <= 300 &&
           host.find_first_not_of(kAllowed) == std::string_view::npos;
}

/// The file's content; throws OptionError before it reads more than `room` bytes.
std::string contentOf(const fs::path& file, std::size_t room) {
    std::error_code error;
    const auto size = fs::file_size(file, error);
    if (!error && size > room)
        throw OptionError(file.string() + " is too large: the files of a site may have " +
                          std::to_string(Site::kMaxBytes) + " bytes together");
    std::string content(error ? 0 : size, '\0');
    std::ifstream stream(file, std::ios::binary);
    if (error || !stream.read(content.data(), static_cast<std::streamsize>(content.size())))
        throw OptionError("cannot read " + file.string());
    return content;
}

} // namespace

const Site::Variant& Site::Page::bestFor(std::string_view acceptEncoding) const {
    for (const auto& variant : variants)
        if (variant.encoding.empty() || acceptsEncoding(acceptEncoding, variant.encoding))
            return variant;
    return variants.back();
}

Site::Site() {
    add("/", "text/html; charset=utf-8", std::string(kWelcomePage));
    add("/index.html", "text/html; charset=utf-8", std::string(kWelcomePage));
    add("/style.css", "text/css; charset=utf-8", std::string(kWelcomeStyle));
}

Site::Site(const fs::path& folder) : m_isFolder(true) {
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
        add('/' + file.lexically_relative(folder).generic_string(), typeOf(file),
            std::move(content));
    }
    if (error)
        throw OptionError("cannot read the folder " + folder.string() + ": " + error.message());
    for (const auto& [suffix, encoding] : kCompressed)
        takeVariants(suffix, encoding);
    const auto index = m_pages.find("/index.html");
    if (index == m_pages.end())
        throw OptionError("the folder " + folder.string() + " has no index.html");
    m_pages["/"] = index->second;
}

const Site::Page* Site::find(std::string_view path) const {
    const auto page = m_pages.find(path);
    return page == m_pages.end() ? nullptr : &page->second;
}

std::string Site::policy(std::string_view host) const {
    std::string policy = m_isFolder ? kFolderPolicy : kBuiltInPolicy;
    if (m_isFolder && isHostAndPort(host))
        for (const auto* scheme : {" ws://", " wss://"})
            policy.append(scheme).append(host);
    return policy;
}

void Site::add(const std::string& path, std::string type, std::string body) {
    const auto digest = sha256(body);
    auto etag = '"' + base64Url(std::span(digest).first<16>()) + '"';
    Page page{std::move(type), {}, {}};
    page.cacheControl = cacheControlOf(path, page.type);
    page.variants.push_back({{}, std::move(body), std::move(etag)});
    m_pages[path] = std::move(page);
}

void Site::takeVariants(std::string_view suffix, std::string_view encoding) {
    for (auto page = m_pages.begin(); page != m_pages.end();) {
        const auto& path = page->first;
        const auto whole = path.ends_with(suffix)
                               ? m_pages.find(path.substr(0, path.size() - suffix.size()))
                               : m_pages.end();
        if (whole == m_pages.end()) {
            ++page;
            continue;
        }
        auto variant = std::move(page->second.variants.back());
        variant.encoding = encoding;
        auto& variants = whole->second.variants;
        variants.insert(variants.end() - 1, std::move(variant));
        page = m_pages.erase(page);
    }
}

fs::path installedSite() {
    std::error_code error;
    const auto program = fs::read_symlink("/proc/self/exe", error);
    const auto folder = program.parent_path().parent_path() / "share/sorrelwind-hub/web";
    return !error && fs::is_regular_file(folder / "index.html", error) ? folder : fs::path();
}

} // namespace sorrelwind::relay
