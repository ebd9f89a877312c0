#include "relay/welcome_page.h"

namespace sorrelwind::relay {

const std::string_view kWelcomePage = R"html(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="robots" content="noindex">
<title>Sorrelwind hub</title>
<link rel="stylesheet" href="/style.css">
</head>
<body>
<main>
<h1>Sorrelwind hub</h1>
<section lang="en">
<p>This is a relay for Sorrelwind, which keeps the clipboards of your own devices in step.</p>
<p>What your devices send is sealed with a key that this hub never has. It waits in memory until
your devices have it, and is never written to disk.</p>
<h2>How to join</h2>
<ol>
<li>On a device that is in your group, choose “Add Device…”, or run
<code>sorrelwind pair</code>.</li>
<li>On the new device, open Sorrelwind and choose to join a group, or run
<code>sorrelwind join</code>.</li>
<li>Paste the pairing link there, or type the code. If a link brought you to this page, copy the
whole link from the address bar; the part after “#” was not sent to this server.</li>
</ol>
</section>
<section lang="zh">
<p>这是 Sorrelwind 的中转服务，Sorrelwind 让你自己的各台设备共享剪贴板。</p>
<p>你的设备发送的内容都已加密，而这里从来没有解密的密钥。这些内容只在内存中保留到你的设备收到为止，不会写入磁盘。</p>
<h2>如何加入</h2>
<ol>
<li>在已加入设备组的设备上选择“添加设备…”，或运行 <code>sorrelwind pair</code>。</li>
<li>在新设备上打开 Sorrelwind，选择加入设备组，或运行 <code>sorrelwind join</code>。</li>
<li>在那里粘贴配对链接，或输入配对码。如果你是通过链接来到这里的，请从地址栏复制完整链接；“#”之后的部分没有发送到本服务器。</li>
</ol>
</section>
</main>
</body>
</html>
)html";

const std::string_view kWelcomeStyle = R"css(:root { color-scheme: light dark; }
body { margin: 0; font: 16px/1.6 system-ui, sans-serif; }
main { max-width: 38rem; margin: 0 auto; padding: 3rem 1.5rem; }
h1 { font-size: 1.6rem; margin: 0 0 1.5rem; }
h2 { font-size: 1.1rem; margin: 1.5rem 0 0.5rem; }
section + section { margin-top: 2.5rem; padding-top: 2rem; border-top: 1px solid #8884; }
ol { padding-left: 1.4rem; }
)css";

} // namespace sorrelwind::relay
