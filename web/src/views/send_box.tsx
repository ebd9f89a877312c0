import { useState } from "preact/hooks";

import { canRead, readText } from "../clipboard";
import { relativeTime, t } from "../l10n";
import { SendResult, Session } from "../session";
import { failureText } from "../texts";
import { useOwnId } from "./controls";

function resultText(result: SendResult, alone: boolean): string {
  if ("failure" in result)
    return t("没有发送：", "Not sent: ") + failureText(result.failure);
  if (result.recipients === 0)
    return alone
      ? t("还没有其他设备", "No other devices yet")
      : t("已发送 · 其他设备不在线，服务器会保留最新一条一小时", "Sent — no other device is online; the hub holds it for an hour");
  if (result.recipients === null) return t("已发送", "Sent");
  return result.recipients === 1
    ? t("已发送到 1 台设备", "Sent to 1 device")
    : t(`已发送到 ${result.recipients} 台设备`, `Sent to ${result.recipients} devices`);
}

export function SendBox({ session, now }: { session: Session; now: number }) {
  const id = useOwnId();
  const [refused, setRefused] = useState(false);
  const { draft, sending, lastSent } = session;

  const send = async () => {
    setRefused(false);
    if (await session.send(draft)) session.setDraft("");
  };
  const sendClipboard = async () => {
    const text = await readText();
    setRefused(text === null);
    if (text) await session.send(text);
  };

  return (
    <section class="card pad stack">
      <label for={id} class="title">
        {t("发送到其他设备", "Send to your other devices")}
      </label>
      <textarea
        id={id}
        rows={3}
        dir="auto"
        value={draft}
        placeholder={t("输入或粘贴文字", "Type or paste text")}
        onInput={(event) => session.setDraft(event.currentTarget.value)}
        onKeyDown={(event) => {
          if (event.key !== "Enter" || !(event.ctrlKey || event.metaKey) || event.isComposing) return;
          event.preventDefault();
          void send();
        }}
      />
      <div class="buttons">
        <button type="button" class="primary" disabled={draft === "" || sending} onClick={send}>
          {sending ? t("正在发送…", "Sending…") : t("发送", "Send")}
        </button>
        {canRead && (
          <button type="button" disabled={sending} onClick={sendClipboard}>
            {t("发送剪贴板", "Send clipboard")}
          </button>
        )}
      </div>
      <p class="note" role="status">
        {refused
          ? t("浏览器没有允许读取剪贴板。请粘贴到上面再发送。", "The browser did not allow reading the clipboard. Paste above and send.")
          : lastSent &&
            `${resultText(lastSent, session.devices.length < 2)} · ${relativeTime(lastSent.at, now)}`}
      </p>
    </section>
  );
}
