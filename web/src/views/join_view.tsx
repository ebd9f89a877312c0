import { useRef, useState } from "preact/hooks";

import { isUsableKey, JoinFlow, readInvitation } from "../join";
import { t } from "../l10n";
import { Session } from "../session";
import { failureText, longDerivation, suggestedName } from "../texts";
import { Field, Notice } from "./controls";
import { useDerivation } from "./derivation";
import { PlainHttpNote } from "./plain_http_note";

export interface Opened {
  code: string;
  key: string | null;
}

/** Joining by the link that opened the page, or by a link or code that is typed here. */
export function JoinView(props: { session: Session; opened: Opened | null; onDone: () => void; onCancel?: () => void }) {
  const { session, opened } = props;
  const flow = useRef<JoinFlow>();
  flow.current ??= new JoinFlow(session.crypto);
  const [entry, setEntry] = useState("");
  const [passphrase, setPassphrase] = useState("");
  const [name, setName] = useState(() => suggestedName(navigator.userAgent, navigator.maxTouchPoints));
  const { progress, failure, forgive, run, cancel } = useDerivation();

  const invitation = opened ? { kind: "code" as const, ...opened } : readInvitation(entry, location.origin);
  const code = invitation.kind === "code" ? invitation : null;
  const needsPassphrase = code !== null && !isUsableKey(code.key);
  const complete = code !== null && name.trim() !== "" && (!needsPassphrase || passphrase !== "");

  const submit = async (event: Event) => {
    event.preventDefault();
    if (!complete || progress !== null) return;
    await run(async (deriving) => {
      const membership = await flow.current!.join(code.code, code.key, passphrase, name.trim(), deriving);
      await session.adopt(membership);
      props.onDone();
    });
  };

  return (
    <main class="join">
      <img class="logo" src="/icon.svg" alt="" width="72" height="72" />
      <h1>{t("加入设备组", "Join your group")}</h1>
      <p class="lede">
        {t(
          "在这里接收你在其他设备上复制的文字，也可以发送。内容在设备上加密，只有你能读。",
          "Get what you copy on your other devices, and send text to them. Encrypted on your devices, readable only by you.",
        )}
      </p>
      {session.removed && (
        <Notice kind="warning">
          {t(
            "此浏览器已被移出设备组。重新配对即可继续使用。",
            "This browser was removed from its group. Pair again to continue.",
          )}
        </Notice>
      )}
      {session.phase === "member" && (
        <Notice kind="warning">
          {t(
            "此浏览器已在一个设备组中。用这个链接加入后，会离开原来的设备组。",
            "This browser is already in a group. If you join with this link, it leaves that one.",
          )}
        </Notice>
      )}
      <form class="card pad stack" onSubmit={submit}>
        {!opened && (
          <Field
            label={t("配对链接或配对码", "Pairing link or code")}
            value={entry}
            onInput={(text) => {
              setEntry(text);
              forgive();
            }}
            placeholder={t("链接，或 XXXX-XXXX", "Link, or XXXX-XXXX")}
            code
            note={
              invitation.kind === "unknown"
                ? t("还不是配对链接，也不是配对码。", "Neither a pairing link nor a pairing code yet.")
                : t(
                    "在另一台设备上点“添加设备”，即可得到链接和配对码。",
                    "On your other device, choose “Add Device” to get a link and a code.",
                  )
            }
          />
        )}
        {invitation.kind === "elsewhere" && (
          <Notice kind="warning">
            {t("这个链接属于另一个服务器：", "This link belongs to another hub: ")}
            <a href={invitation.link} rel="noreferrer">
              {invitation.server}
            </a>
          </Notice>
        )}
        {opened && !needsPassphrase && (
          <Notice kind="success">
            {t("链接已含加密密钥，不需要口令。", "The link carries the encryption key; no passphrase is needed.")}
          </Notice>
        )}
        {needsPassphrase && (
          <Field
            label={t("设备组口令", "Group passphrase")}
            value={passphrase}
            onInput={setPassphrase}
            secret
            code
            note={t(
              "在另一台设备的设置里可以看到。它不会发送给服务器；是否正确，要等收到第一段文字时才知道。",
              "Your other device shows it in its settings. It is never sent to the hub, so whether it fits shows with the first text that arrives.",
            )}
          />
        )}
        <Field label={t("设备名称", "Device name")} value={name} onInput={setName} maxLength={64} />
        {failure !== null && <Notice kind="danger">{failureText(failure)}</Notice>}
        <button type="submit" class="primary big" disabled={!complete || progress !== null}>
          <span aria-live="polite">
            {progress === null
              ? t("加入", "Join Group")
              : progress === "begun"
                ? t("正在加入…", "Joining…")
                : t("正在生成加密密钥…", "Generating the encryption key…")}
          </span>
        </button>
        {typeof progress === "number" && (
          <Notice kind="warning">
            {longDerivation(progress)}
            <div class="buttons">
              <button type="button" onClick={cancel}>
                {t("取消", "Cancel")}
              </button>
            </div>
          </Notice>
        )}
        {props.onCancel && (
          <button type="button" class="plain" onClick={props.onCancel}>
            {t("留在现在的设备组", "Stay in the current group")}
          </button>
        )}
      </form>
      <PlainHttpNote />
    </main>
  );
}
