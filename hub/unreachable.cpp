#include "hub/unreachable.h"

#include "base/printable.h"

namespace sorrelwind {

Sentence Unreachable::sentence() const {
    const QString place = printable(host);
    const auto said = [&](const char16_t* zh, const char16_t* en) {
        return Sentence::of(zh, en).arg(place);
    };
    const auto ofCertificate = [&](const char16_t* zh, const char16_t* en) {
        return Sentence::of(zh, en).arg(place, printable(issuer), fingerprint);
    };
    switch (why) {
    case Why::nameNotFound:
        return said(u"找不到 %1，请检查地址和本机的网络",
                    u"The name %1 was not found — check the address and the network here");
    case Why::refused:
        return said(u"%1 拒绝连接，请确认服务器程序正在运行，并检查端口",
                    u"%1 refuses connections — see whether the hub runs there, and check the port");
    case Why::noRoad:
        return said(u"从这里到不了 %1，请检查本机的网络",
                    u"No network leads to %1 — check the network here");
    case Why::timedOut:
        return said(u"%1 没有及时回应，请确认它已开机，并检查途中的防火墙",
                    u"%1 did not answer in time — see whether it is switched on, and the firewalls "
                    u"on the way");
    case Why::closed:
        return said(u"%1 中断了连接，请查看服务器和它前面的代理的日志",
                    u"%1 ended the connection — see the logs of the hub and of a proxy before it");
    case Why::proxy:
        return said(u"本机设置的代理没有接通 %1，请检查代理设置",
                    u"The proxy set here does not connect to %1 — check the proxy settings");
    case Why::noTls:
        return said(u"%1 不使用 TLS，请检查端口；没有 TLS 的服务器地址以 http:// 开头",
                    u"%1 does not speak TLS — check the port; the address of a hub without TLS "
                    u"begins with http://");
    case Why::untrusted:
        return ofCertificate(
            u"本机不信任 %1 的证书（签发者：%2，SHA-256：%3），请在本机安装其签发机构的证书，或用 "
            u"SSL_CERT_FILE 指定",
            u"The certificate of %1 (issuer %2, SHA-256 %3) is not trusted here — install its "
            u"authority, or name it in SSL_CERT_FILE");
    case Why::otherName:
        return ofCertificate(
            u"%1 的证书（签发者：%2，SHA-256：%3）属于别的名称，请改用证书中的名称作为地址",
            u"The certificate of %1 (issuer %2, SHA-256 %3) is for another name — use the name in "
            u"it as the address");
    case Why::expired:
        return ofCertificate(
            u"%1 的证书（签发者：%2，SHA-256：%3）已过期，请在服务器上更新证书，并检查本机的时钟",
            u"The certificate of %1 (issuer %2, SHA-256 %3) is no longer valid — renew it on the "
            u"hub, and check the clock here");
    case Why::notYetValid:
        return ofCertificate(
            u"%1 的证书（签发者：%2，SHA-256：%3）尚未生效，请检查服务器和本机的时钟",
            u"The certificate of %1 (issuer %2, SHA-256 %3) is not valid yet — check the clocks of "
            u"the hub and here");
    }
    return {};
}

} // namespace sorrelwind
