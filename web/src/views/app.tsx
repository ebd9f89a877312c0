import { useEffect, useState } from "preact/hooks";

import { language, setLanguage, t } from "../l10n";
import { Session } from "../session";
import { Appearance, appearance, applyAppearance, writeSetting } from "../settings";
import { Choice } from "./controls";
import { JoinView, Opened } from "./join_view";
import { MemberView } from "./member_view";
import { Symbol } from "./symbol";

function Display({ redraw }: { redraw: () => void }) {
  return (
    <section class="card display">
      <Choice<Appearance>
        label={t("外观", "Appearance")}
        value={appearance()}
        options={[
          ["system", t("跟随系统", "System")],
          ["light", t("浅色", "Light")],
          ["dark", t("深色", "Dark")],
        ]}
        onChange={(value) => {
          writeSetting("appearance", value);
          applyAppearance(value);
          redraw();
        }}
      />
    </section>
  );
}

/** `opened` is the link that opened the page, until it is used or put aside. */
export function App(props: { session: Session; opened: Opened | null; onUsed: () => void; redraw: () => void }) {
  const { session, opened } = props;
  const [now, setNow] = useState(Date.now());
  useEffect(() => {
    const timer = setInterval(() => setNow(Date.now()), 15_000);
    return () => clearInterval(timer);
  }, []);
  const time = Math.max(now, Date.now());

  const joining = session.phase === "joining" || (session.phase === "member" && opened !== null);
  return (
    <>
      <header>
        <img src="/icon.svg" alt="" width="28" height="28" />
        <span class="brand">Sorrelwind</span>
        <button
          type="button"
          class="plain"
          lang={language() === "zh" ? "en" : "zh"}
          onClick={() => {
            setLanguage(language() === "zh" ? "en" : "zh");
            props.redraw();
          }}
        >
          {language() === "zh" ? "English" : "中文"}
        </button>
      </header>
      {joining && (
        <JoinView
          key={opened?.code ?? ""}
          session={session}
          opened={opened}
          onDone={props.onUsed}
          onCancel={session.phase === "member" ? props.onUsed : undefined}
        />
      )}
      {session.phase === "member" && !joining && <MemberView session={session} now={time} />}
      {session.phase !== "loading" && (
        <footer>
          {!joining && <Display redraw={props.redraw} />}
          <p class="promise">
            <Symbol name="lock" />
            {t("端到端加密 · 服务器只转发，送达即删除", "End-to-end encrypted\u00a0· relayed, never stored")}
          </p>
        </footer>
      )}
    </>
  );
}
