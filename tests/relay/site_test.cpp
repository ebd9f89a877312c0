// A folder served from memory: what is found, as what, and what never is.

#include "relay/content_negotiation.h"
#include "relay/site.h"
#include "relay/state_directory.h"

#include <gtest/gtest.h>

#include <fstream>

#include <cstdlib>

namespace sorrelwind::relay {
namespace {

namespace fs = std::filesystem;

class SiteTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "site-test-XXXXXX").string();
        ASSERT_NE(::mkdtemp(name.data()), nullptr);
        folder = name;
    }
    void TearDown() override { fs::remove_all(folder); }
    void write(const fs::path& file, const std::string& content) const {
        fs::create_directories((folder / file).parent_path());
        std::ofstream(folder / file) << content;
    }

    fs::path folder;
};

TEST_F(SiteTest, servesTheFilesOfItsFolderAndNothingElse) {
    write("root/index.html", "<p>hi");
    write("root/assets/app.js", "1");
    write("root/icon.svg", "<svg/>");
    write("root/data.xyz", "?");
    write("root/.secret", "no");
    write("root/.git/config.txt", "no");
    write("outside.txt", "no");
    const Site site(folder / "root");
    const struct {
        const char* path;
        const char* type;
    } found[] = {
        {"/", "text/html; charset=utf-8"},
        {"/index.html", "text/html; charset=utf-8"},
        {"/assets/app.js", "text/javascript; charset=utf-8"},
        {"/icon.svg", "image/svg+xml"},
        {"/data.xyz", "application/octet-stream"},
    };
    for (const auto& c : found) {
        ASSERT_NE(site.find(c.path), nullptr) << c.path;
        EXPECT_EQ(site.find(c.path)->type, c.type);
    }
    EXPECT_EQ(site.find("/")->bestFor("br").body, "<p>hi");
    EXPECT_NE(site.find("/")->bestFor("").etag, site.find("/icon.svg")->bestFor("").etag);
    EXPECT_EQ(site.find("/")->cacheControl, "no-store");
    EXPECT_EQ(site.find("/icon.svg")->cacheControl, "no-cache");
    EXPECT_NE(site.find("/assets/app.js")->cacheControl.find("immutable"), std::string::npos);
    for (const auto* path :
         {"", "/../outside.txt", "/assets/../../outside.txt", "/assets", "/.secret",
          "/.git/config.txt", "//index.html", "/assets/", "/%2e%2e/outside.txt"})
        EXPECT_EQ(site.find(path), nullptr) << path;
}

TEST_F(SiteTest, compressedFilesAreTheSamePageForWhoTakesThem) {
    write("index.html", "page");
    write("index.html.gz", "gz");
    write("index.html.br", "br");
    write("alone.gz", "an archive");
    const Site site(folder);
    const auto* page = site.find("/");
    const struct {
        const char* accepts;
        const char* body;
    } cases[] = {
        {"", "page"},
        {"identity", "page"},
        {"gzip, deflate", "gz"},
        {"gzip, deflate, br, zstd", "br"},
        {"br;q=0, GZIP;q=0.5", "gz"},
        {"br; Q=0.000, gzip;q=0", "page"},
        {"gzip;level=9;q=1", "gz"},
        {"brx, xgzip, *", "page"},
        {",;,=;q,br", "br"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(page->bestFor(c.accepts).body, c.body) << c.accepts;
    EXPECT_NE(page->bestFor("br").etag, page->bestFor("gzip").etag);
    EXPECT_EQ(site.find("/index.html.gz"), nullptr);
    EXPECT_EQ(site.find("/alone.gz")->bestFor("gzip").encoding, "");
}

TEST(ContentNegotiation, aTagIsFoundInAListAndComparedWeakly) {
    for (const auto* header : {R"("a")", R"(W/"a")", R"("b", "a")", R"("b",W/"a" )", "*", " * "})
        EXPECT_TRUE(namesEtag(header, R"("a")")) << header;
    for (const auto* header : {"", "a", R"("b")", R"("a)", R"("ab")", R"(w/"a")"})
        EXPECT_FALSE(namesEtag(header, R"("a")")) << header;
}

TEST_F(SiteTest, policyNamesTheSocketOfItsOwnOriginAndNothingThatAHeaderSmugglesIn) {
    write("index.html", "x");
    const Site site(folder);
    for (const auto* host : {"hub.example", "10.0.0.2:8787", "[::1]:8787"})
        EXPECT_TRUE(site.policy(host).ends_with("connect-src 'self' ws://" + std::string(host) +
                                                " wss://" + host));
    for (const auto& host : {std::string(), std::string("a b"), std::string("a;script-src *"),
                             std::string("a,b"), std::string("*"), std::string(400, 'a')})
        EXPECT_TRUE(site.policy(host).ends_with("connect-src 'self'")) << host;
    EXPECT_EQ(Site().policy("hub.example").find("ws:"), std::string::npos);
}

TEST_F(SiteTest, linksThatLeadNowhereAreNoPages) {
    write("index.html", "x");
    fs::create_symlink("circle", folder / "circle");
    fs::create_symlink("missing", folder / "dangling");
    const Site site(folder);
    EXPECT_NE(site.find("/"), nullptr);
    EXPECT_EQ(site.find("/circle"), nullptr);
    EXPECT_EQ(site.find("/dangling"), nullptr);
}

TEST_F(SiteTest, filesTogetherAreAtMost64MiB) {
    write("index.html", "x");
    write("large", "");
    fs::resize_file(folder / "large", Site::kMaxBytes - 1); // a hole, which takes no room on disk
    EXPECT_NE(Site(folder).find("/large"), nullptr);
    write("one-more", "x");
    EXPECT_THROW(Site{folder}, StartError);
    fs::remove(folder / "one-more");
    fs::resize_file(folder / "large", std::uintmax_t{1} << 40); // would not fit into memory
    EXPECT_THROW(Site{folder}, StartError);
}

TEST_F(SiteTest, aFolderWithoutAnIndexIsAMistake) {
    write("page.html", "x");
    EXPECT_THROW(Site{folder}, StartError);
    EXPECT_THROW(Site{folder / "missing"}, StartError);
}

} // namespace
} // namespace sorrelwind::relay
