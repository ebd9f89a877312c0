import { t } from "../l10n";
import { Notice } from "./controls";

/** On plain http: what is weaker there, and what the hub's owner can do. */
export function PlainHttpNote() {
  if (isSecureContext) return null;
  return (
    <Notice kind="warning">
      {t(
        "此页面通过 http 打开：内容仍然加密，但同一网络里的人可能篡改页面或冒充此设备。",
        "This page came over plain http: texts are still sealed, but someone in this network could alter the page or act as this device.",
      )}
      <details>
        <summary>{t("怎样改进", "What to do")}</summary>
        <p>
          {t("给服务器配上证书，然后用 https 地址重新配对：", "Give the hub a certificate, then pair again by its https address:")}
        </p>
        <code>
          sorrelwind-hub <span>--tls-cert cert.pem</span> <span>--tls-key key.pem</span>
        </code>
      </details>
    </Notice>
  );
}
