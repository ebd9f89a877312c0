#pragma once

#include "tests/relay/hub_program.h"

#include <string>
#include <utility>
#include <vector>

namespace sorrelwind::relay::test {

using Replacements = std::vector<std::pair<std::string, std::string>>;

/// The snippet of the operating guide in this language, with each first text replaced by its
/// second; throws when one of them is not in it.
[[nodiscard]] std::string guideSnippet(const std::string& language,
                                       const Replacements& replacements = {});

/// A real nginx with this server block, all of its files in a folder of its own. In the block
/// PORT stands for its port, CERT and KEY for a certificate of localhost that `trusted` vouches
/// for.
class Nginx {
public:
    explicit Nginx(std::string server);
    ~Nginx();

    [[nodiscard]] unsigned short port() const { return m_port; }
    [[nodiscard]] std::string trusted() const { return (m_folder.path() / "cert.pem").string(); }
    /// Ends it; all that it said and all the files that it wrote.
    [[nodiscard]] std::string endAndRead();

private:
    std::string prepare(std::string server);

    TemporaryFolder m_folder;
    unsigned short m_port;
    Program m_program;
};

/// A real Caddy with this Caddyfile, which has a block of options and a site for localhost:PORT; it
/// makes its own certificates.
class Caddy {
public:
    explicit Caddy(std::string caddyfile);

    [[nodiscard]] unsigned short port() const { return m_port; }
    [[nodiscard]] std::string trusted() const;
    [[nodiscard]] std::string endAndRead();

private:
    std::string prepare(std::string caddyfile);

    TemporaryFolder m_folder;
    unsigned short m_port;
    Program m_program;
};

} // namespace sorrelwind::relay::test
