import { useState } from "preact/hooks";

import { HubError } from "../api";
import { canRead, readText } from "../clipboard";
import { fileSize, relativeTime, t } from "../l10n";
import { SendResult, Session } from "../session";
import { failureText } from "../texts";
import { Beginning } from "./clips";
import { kMostInBox, useOwnId } from "./controls";

function failed({ failure, bytes }: { failure: unknown; bytes: number }): string {
  const size = fileSize(bytes);
  const tooLarge = failure instanceof HubError && failure.status === 413;
  const more = tooLarge ? t(`（${size}；通常最多约 6 MB）`, ` (${size}; most hubs take about 6 MB)`) : "";
  return t("没有发送：", "Not sent: ") + failureText(failure) + more;
}

const kKept = 3_600_000; // milliseconds, unless the hub's owner says otherwise

function resultText(result: SendResult, now: number): string {
  if ("failure" in result) return failed(result);
  if (result.recipients === 0) {
    if (result.devices === 1) return t("已发送，但还没有其他设备", "Sent, but there are no other devices yet");
    return result.devices > 1 && now - result.at < kKept
      ? t(
          "已发送；没有其他设备在线，服务器会暂时保留它",
          "Sent — no other device was online; the hub keeps it for a while",
        )
      : t("已发送；没有其他设备在线", "Sent — no other device was online");
  }
  if (result.recipients === null) return t("已发送", "Sent");
  return result.recipients === 1
    ? t("已发送到 1 台设备", "Sent to 1 device")
    : t(`已发送到 ${result.recipients} 台设备`, `Sent to ${result.recipients} devices`);
}

export function SendBox({ session, now }: { session: Session; now: number }) {
  const id = useOwnId();
  const [refused, setRefused] = useState(false);
  const { draft, sending, lastSent } = session;
  const large = draft.length > kMostInBox;
  const failure = refused || (lastSent !== null && "failure" in lastSent);

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
    <section class="card pad stack send">
      <label for={large ? undefined : id} class="title">
        {t("发送到其他设备", "Send to your other devices")}
      </label>
      {large ? (
        <Beginning text={draft} rest={t("“发送”会发送全部", "Send takes all of it")} />
      ) : (
        <textarea
          id={id}
          rows={3}
          dir="auto"
          value={draft}
          placeholder={t("输入或粘贴文字", "Type or paste text")}
          onInput={(event) => session.setDraft(event.currentTarget.value)}
          onPaste={(event) => {
            const pasted = event.clipboardData?.getData("text/plain") ?? "";
            if (pasted.length <= kMostInBox) return;
            event.preventDefault();
            const { value, selectionStart, selectionEnd } = event.currentTarget;
            session.setDraft(value.slice(0, selectionStart) + pasted + value.slice(selectionEnd));
          }}
          onKeyDown={(event) => {
            if (event.key !== "Enter" || !(event.ctrlKey || event.metaKey) || event.isComposing) return;
            event.preventDefault();
            void send();
          }}
        />
      )}
      <div class="buttons">
        <button type="button" class="primary" disabled={draft === "" || sending} onClick={send}>
          {sending ? t("正在发送…", "Sending…") : t("发送", "Send")}
        </button>
        {large && (
          <button type="button" disabled={sending} onClick={() => session.setDraft("")}>
            {t("清除", "Clear")}
          </button>
        )}
        {canRead && !large && (
          <button type="button" disabled={sending} onClick={sendClipboard}>
            {t("发送剪贴板", "Send clipboard")}
          </button>
        )}
      </div>
      <p class={failure ? "note failed" : "note"} role="status">
        {refused
          ? t("浏览器没有允许读取剪贴板。请粘贴到上面再发送。", "The browser did not allow reading the clipboard. Paste above and send.")
          : lastSent &&
            `${resultText(lastSent, now)}\u00a0· ${relativeTime(lastSent.at, now)}`}
      </p>
    </section>
  );
}
