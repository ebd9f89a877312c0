import { useState } from "preact/hooks";

import { t } from "../l10n";
import { Session } from "../session";
import { failureText, longDerivation } from "../texts";
import { AutoCopy, Earlier, Newest } from "./clips";
import { Field, focusOnce, Naming, Notice } from "./controls";
import { useDerivation } from "./derivation";
import { Devices } from "./devices";
import { PlainHttpNote } from "./plain_http_note";
import { SendBox } from "./send_box";
import { Symbol } from "./symbol";

function Status({ session }: { session: Session }) {
  const { connection } = session;
  const [color, text] =
    connection === "connected"
      ? ["success", t("已连接 · 已加密", "Connected · Encrypted")]
      : connection === "connecting"
        ? ["warning", t("正在连接…", "Connecting…")]
        : ["danger", t("已断开，正在重连…", "Offline — reconnecting…")];
  return (
    <section class="sync">
      <span class="badge">
        <Symbol name="sync" />
      </span>
      <div>
        <p class="name">{t("剪贴板同步", "Clipboard Sync")}</p>
        <p role="status">
          <span class={`dot ${color}`} />
          {text}
        </p>
      </div>
    </section>
  );
}

/** A text that could not be opened: most likely the passphrases differ, and nobody knows whose is right. */
function Undecryptable({ session, device }: { session: Session; device: string }) {
  const [passphrase, setPassphrase] = useState<string | null>(null);
  const { progress, failure, run, cancel } = useDerivation();
  const submit = async (event: Event) => {
    event.preventDefault();
    await run((deriving) => session.rekey(passphrase ?? "", deriving));
  };
  return (
    <Notice kind="warning">
      <Naming
        name={device}
        sentence={t(
          "来自“%”的内容无法用此浏览器的密钥解密。请与其他设备核对口令，或重新输入。",
          "A text from “%” can’t be decrypted with this browser’s key. Compare the passphrase with your other devices, or enter it again.",
        )}
      />
      {passphrase === null ? (
        <div class="buttons">
          <button type="button" onClick={() => setPassphrase("")}>
            {t("重新输入口令", "Enter the passphrase again")}
          </button>
          <button type="button" class="plain" onClick={() => session.dismissWarning()}>
            {t("忽略", "Dismiss")}
          </button>
        </div>
      ) : (
        <form class="stack" onSubmit={submit}>
          <Field label={t("设备组口令", "Group passphrase")} value={passphrase} onInput={setPassphrase} secret code focus />
          <div class="buttons">
            <button type="submit" class="primary" disabled={passphrase === "" || progress !== null}>
              {t("使用这个口令", "Use this passphrase")}
            </button>
            <button type="button" onClick={() => (progress === null ? setPassphrase(null) : cancel())}>
              {t("取消", "Cancel")}
            </button>
          </div>
          <p role="status" class={failure !== null ? "note failed" : "note"}>
            {typeof progress === "number"
              ? longDerivation(progress)
              : progress !== null
                ? t("正在生成加密密钥…", "Generating the encryption key…")
                : failure !== null && failureText(failure)}
          </p>
        </form>
      )}
    </Notice>
  );
}

function Warnings({ session }: { session: Session }) {
  const { warning, notKept } = session;
  return (
    <>
      {warning?.kind === "undecryptable" && <Undecryptable session={session} device={warning.device} />}
      {(warning?.kind === "notText" || warning?.kind === "tooLarge") && (
        <Notice kind="warning">
          <Naming
            name={warning.device}
            sentence={
              warning.kind === "notText"
                ? t(
                    "“%”发来的不是文字，此页面只显示文字。",
                    "“%” sent something that is not text; this page shows text only.",
                  )
                : t(
                    "“%”发来的文字超过 16 MB，此页面无法显示。请分几次复制。",
                    "“%” sent a text of more than 16 MB, too large for this page. Copy it in parts.",
                  )
            }
          />
          <div class="buttons">
            <button type="button" class="plain" onClick={() => session.dismissWarning()}>
              {t("忽略", "Dismiss")}
            </button>
          </div>
        </Notice>
      )}
      {notKept && (
        <Notice kind="warning">
          {notKept === "full"
            ? t(
                "浏览器的存储空间已满：关闭页面后需要重新配对。请清出空间后重新加入。",
                "The browser’s storage is full: once this page is closed you will have to pair again. Free some space, then rejoin.",
              )
            : t(
                "浏览器不保存数据（无痕窗口？）：此页面可以使用，关闭后需要重新配对。",
                "This browser keeps no data here (a private window?): the page works, and once it is closed you will have to pair again.",
              )}
        </Notice>
      )}
    </>
  );
}

function Leave({ session }: { session: Session }) {
  const [asking, setAsking] = useState(false);
  if (!asking)
    return (
      <button type="button" class="danger" onClick={() => setAsking(true)}>
        {t("离开设备组…", "Leave Group…")}
      </button>
    );
  return (
    <div class="card pad stack">
      <p>{t("离开后需重新配对才能加入。", "You will have to pair again to come back.")}</p>
      <div class="buttons">
        <button type="button" class="danger" onClick={() => session.leave()}>
          {t("离开", "Leave")}
        </button>
        <button type="button" ref={focusOnce} onClick={() => setAsking(false)}>
          {t("取消", "Cancel")}
        </button>
      </div>
    </div>
  );
}

export function MemberView({ session, now }: { session: Session; now: number }) {
  return (
    <main class="member">
      <div class="column">
        <Status session={session} />
        <Warnings session={session} />
        <Newest session={session} now={now} />
        <AutoCopy session={session} />
        <SendBox session={session} now={now} />
        <Earlier session={session} now={now} />
      </div>
      <div class="column">
        <Devices session={session} now={now} />
        <Leave session={session} />
        <PlainHttpNote />
      </div>
    </main>
  );
}
