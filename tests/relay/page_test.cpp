// The pages of the real program: its own, and those of a folder.

#include "tests/relay/client.h"
#include "tests/relay/hub_program.h"

#include <gtest/gtest.h>

#include <fstream>

namespace sorrelwind::relay::test {
namespace {

namespace fs = std::filesystem;

class PageTest : public testing::Test {
protected:
    void write(const fs::path& file, const std::string& content) const {
        fs::create_directories((folder.path() / file).parent_path());
        std::ofstream(folder.path() / file) << content;
    }
    /// The program as if it were installed below the test's folder.
    [[nodiscard]] fs::path installed() const {
        const auto program = folder.path() / "bin" / "sorrelwind-hub";
        fs::create_directory(program.parent_path());
        std::error_code otherFileSystem;
        fs::create_hard_link(builtHub(), program, otherFileSystem);
        if (otherFileSystem)
            fs::copy_file(builtHub(), program);
        return program;
    }

    TemporaryFolder folder;
};

TEST_F(PageTest, withoutAFolderItSaysWhatThisIs) {
    const HubProgram hub(folder.path() / "data", {}, installed());
    const auto page = request(hub.port(), {"GET", "/"});
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.headers.at("content-type"), "text/html; charset=utf-8");
    EXPECT_EQ(page.headers.at("referrer-policy"), "no-referrer");
    EXPECT_EQ(page.headers.at("x-content-type-options"), "nosniff");
    EXPECT_TRUE(page.headers.at("content-security-policy").starts_with("default-src 'none'"));
    // The words of the agent's menu and command line, and no more than is true of the hub.
    for (const auto* words :
         {"“Add Device…”", "“添加设备…”", "<code>sorrelwind pair</code>",
          "sealed with a key that this hub never has", "这里从来没有解密的密钥"})
        EXPECT_NE(page.body.find(words), std::string::npos) << words;
    EXPECT_EQ(request(hub.port(), {"GET", "/style.css"}).headers.at("content-type"),
              "text/css; charset=utf-8");

    const auto head = request(hub.port(), {"HEAD", "/index.html"});
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.body, "");
    EXPECT_EQ(head.headers.at("content-length"), std::to_string(page.body.size()));
    for (const auto* path : {"/healthz", "/readyz"})
        EXPECT_EQ(request(hub.port(), {"GET", path}).status, 200) << path;
}

TEST_F(PageTest, theFolderBesideTheProgramIsServed) {
    write("share/sorrelwind-hub/web/index.html", "installed");
    write("other/index.html", "named");
    const auto program = installed();
    const HubProgram beside(folder.path() / "a", {}, program);
    EXPECT_EQ(request(beside.port(), {"GET", "/"}).body, "installed");
    const HubProgram named(folder.path() / "b", {"--web", (folder.path() / "other").string()},
                           program);
    EXPECT_EQ(request(named.port(), {"GET", "/"}).body, "named");
}

TEST_F(PageTest, answersAreCompressedConditionalAndWithoutBodyWhereAsked) {
    write("site/index.html", "<p>page");
    write("site/index.html.gz", "gz");
    write("site/secret.txt.gz", "of no page");
    write("outside.txt", "no");
    const HubProgram hub(folder.path() / "data", {"--web", (folder.path() / "site").string()});
    const auto get = [&](const std::string& path, std::map<std::string, std::string> headers) {
        return request(hub.port(), {"GET", path, {}, {}, std::move(headers)});
    };

    const auto plain = get("/", {});
    EXPECT_EQ(plain.body, "<p>page");
    EXPECT_EQ(plain.headers.count("content-encoding"), 0U);
    const auto packed = get("/", {{"Accept-Encoding", "gzip, br"}});
    EXPECT_EQ(packed.body, "gz");
    EXPECT_EQ(packed.headers.at("content-encoding"), "gzip");
    EXPECT_EQ(packed.headers.at("vary"), "Accept-Encoding");
    const auto tag = packed.headers.at("etag");
    EXPECT_NE(tag, plain.headers.at("etag"));

    const auto again = get("/", {{"Accept-Encoding", "gzip"}, {"If-None-Match", "\"x\", " + tag}});
    EXPECT_EQ(again.status, 304);
    EXPECT_EQ(again.body, "");
    EXPECT_EQ(again.headers.at("etag"), tag);
    EXPECT_EQ(again.headers.count("content-encoding"), 0U);
    EXPECT_EQ(again.headers.count("content-length"), 0U);
    EXPECT_EQ(get("/", {{"If-None-Match", tag}}).body, "<p>page"); // another variant

    const auto head = request(hub.port(), {"HEAD", "/", {}, {}, {{"Accept-Encoding", "gzip"}}});
    EXPECT_EQ(head.headers.at("content-length"), "2");
    EXPECT_EQ(head.headers.at("content-encoding"), "gzip");
    for (const auto* path : {"/../outside.txt", "/%2e%2e/outside.txt", "/..%2foutside.txt",
                             "//outside.txt", "/index.html.gz", "/index.html/"})
        EXPECT_EQ(get(path, {}).status, 404) << path;
    EXPECT_EQ(request(hub.port(), {"POST", "/"}).headers.at("allow"), "GET, HEAD");
}

} // namespace
} // namespace sorrelwind::relay::test
