import { useMemo } from "preact/hooks";

import { t, relativeTime, fileSize } from "../l10n";
import { canWriteAlone } from "../clipboard";
import { Clip, Session } from "../session";
import { cut, utf8Length } from "../long_text";
import { CopyButton, Name, Switch } from "./controls";
import { Symbol } from "./symbol";

const kShown = 2000; // characters of a text that stands alone
const kShownInList = 200;

/** A text as text, of a long one the beginning and what becomes of the rest. */
export function Beginning({ text, rest }: { text: string; rest: string }) {
  const size = useMemo(() => fileSize(utf8Length(text)), [text]);
  return (
    <>
      <pre class="text" dir="auto" tabIndex={0}>
        {cut(text, kShown)}
      </pre>
      {text.length > kShown && (
        <p class="note">
          {t(`只显示开头；${rest}（${size}）。`, `Only the beginning is shown; ${rest} (${size}).`)}
        </p>
      )}
    </>
  );
}

function Origin({ clip, now }: { clip: Clip; now: number }) {
  return (
    <p class="origin">
      <span class="sender">
        <Name of={clip.device} />
      </span>
      {!clip.sealed && <span class="tag">{t("未加密", "Not encrypted")}</span>}
      <span class="when">{relativeTime(clip.at, now)}</span>
    </p>
  );
}

export function Newest({ session, now }: { session: Session; now: number }) {
  const clip = session.clips[0];
  if (!clip)
    return (
      <section class="card pad empty">
        <Symbol name="copy" />
        <p>{t("在另一台设备上复制文字，就会出现在这里。", "Copy text on another device and it appears here.")}</p>
      </section>
    );
  return (
    <section class="card pad stack newest" aria-label={t("最新内容", "Newest")}>
      <Origin clip={clip} now={now} />
      <Beginning text={clip.text} rest={t("“复制”会复制全部", "Copy takes all of it")} />
      {!clip.sealed && (
        <p class="note">
          {t(
            "这段文字没有加密：服务器可以读到它，也可能改动或伪造它。",
            "This text was not encrypted: the hub could read it, and could have changed it or made it up.",
          )}
        </p>
      )}
      <CopyButton key={clip.id} text={clip.text} big label={t("复制", "Copy")} />
    </section>
  );
}

export function AutoCopy({ session }: { session: Session }) {
  if (!canWriteAlone) return null;
  const { autoCopied, clips } = session;
  const about = session.autoCopy && autoCopied?.id === clips[0]?.id ? autoCopied : null;
  return (
    <section class="card">
      <Switch
        label={t("页面打开时自动复制", "Copy automatically while this page is open")}
        on={session.autoCopy}
        onChange={(on) => session.setAutoCopy(on)}
      />
      {about && (
        <p class="note below" role="status">
          {about.done
            ? t("最新内容已复制到剪贴板。", "The newest text is on the clipboard.")
            : t("浏览器不允许自动复制，请点“复制”。", "This browser does not allow it without a press: use Copy.")}
        </p>
      )}
    </section>
  );
}

export function Earlier({ session, now }: { session: Session; now: number }) {
  const earlier = session.clips.slice(1);
  if (earlier.length === 0) return null;
  return (
    <section>
      <h2>{t("之前收到的", "Earlier")}</h2>
      <ul class="card list">
        {earlier.map((clip) => (
          <li key={clip.id} class="clip-row">
            <div class="grow">
              <p class="excerpt" dir="auto">
                {cut(clip.text, kShownInList)}
              </p>
              <Origin clip={clip} now={now} />
            </div>
            <CopyButton text={clip.text} label={t("复制", "Copy")} />
          </li>
        ))}
      </ul>
      <p class="note">{t("只保存在这个页面里，关闭后消失。", "Kept in this page only, until you close it.")}</p>
    </section>
  );
}
