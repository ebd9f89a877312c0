import { ComponentChildren } from "preact";
import { useRef, useState } from "preact/hooks";

import { copyText } from "../clipboard";
import { t } from "../l10n";
import { shown } from "../texts";
import { Symbol } from "./symbol";

let ids = 0;

/** An id of its own for a control that has a label. (The library's useId has given one twice.) */
export function useOwnId(): string {
  return useState(() => `control-${++ids}`)[0];
}

/** A name from outside, whose direction of writing is its own affair. */
export function Name({ of }: { of: string }) {
  return <bdi>{shown(of)}</bdi>;
}

/** A sentence with a name from outside in the place of "%". */
export function Naming({ sentence, name }: { sentence: string; name: string }) {
  const [before, after] = sentence.split("%");
  return (
    <>
      {before}
      <Name of={name} />
      {after}
    </>
  );
}

type NoticeKind = "info" | "warning" | "danger" | "success";

/** A sentence that something is so; spoken by screen readers when it appears. */
export function Notice({ kind, children }: { kind: NoticeKind; children: ComponentChildren }) {
  return (
    <div class={`notice ${kind}`} role={kind === "danger" ? "alert" : "status"}>
      <Symbol name={kind === "success" ? "check" : kind === "info" ? "lock" : "warning"} />
      <div class="grow">{children}</div>
    </div>
  );
}

/** For what a press has brought up; a page that opens takes no focus. */
export function focusOnce(element: HTMLElement | null): void {
  element?.focus();
}

export function Field(props: {
  label: string;
  value: string;
  onInput: (value: string) => void;
  placeholder?: string;
  note?: string;
  secret?: boolean;
  code?: boolean;
  maxLength?: number;
  focus?: boolean; // from the first
}) {
  const id = useOwnId();
  return (
    <div class="field">
      <label for={id}>{props.label}</label>
      <input
        id={id}
        class={props.code ? "code" : ""}
        type={props.secret ? "password" : "text"}
        value={props.value}
        placeholder={props.placeholder}
        maxLength={props.maxLength}
        aria-describedby={props.note ? `${id}-note` : undefined}
        autoComplete="off"
        autoCapitalize="off"
        autoCorrect="off"
        spellcheck={false}
        ref={props.focus ? focusOnce : undefined}
        onInput={(event) => props.onInput(event.currentTarget.value)}
      />
      {props.note && (
        <p id={`${id}-note`} class="note">
          {props.note}
        </p>
      )}
    </div>
  );
}

export function Switch({ label, on, onChange }: { label: string; on: boolean; onChange: (on: boolean) => void }) {
  return (
    <button type="button" class="row switch" role="switch" aria-checked={on} onClick={() => onChange(!on)}>
      <span class="grow">{label}</span>
      <span class="track" />
    </button>
  );
}

export function Choice<T extends string>(props: {
  label: string;
  value: T;
  options: [T, string][];
  onChange: (value: T) => void;
}) {
  return (
    <div class="row">
      <span class="grow">{props.label}</span>
      <div class="choice" role="group" aria-label={props.label}>
        {props.options.map(([value, label]) => (
          <button
            key={value}
            type="button"
            aria-pressed={value === props.value}
            lang={label === "中文" ? "zh" : label === "English" ? "en" : undefined}
            onClick={() => props.onChange(value)}
          >
            {label}
          </button>
        ))}
      </div>
    </div>
  );
}

/** Characters that a text area still takes at once: a megabyte holds a browser up for many seconds. */
export const kMostInBox = 50_000;
const kSaid = 3_000; // milliseconds for which "Copied" stands

/** Copies `text`; where the browser refuses, the text is laid out, selected, to be copied by hand. */
export function CopyButton({ text, big, label }: { text: string; big?: boolean; label: string }) {
  const [state, setState] = useState<{ text: string; copied: boolean } | null>(null);
  const timer = useRef(0);
  const result = state?.text === text ? state : null; // of this text
  const said = t("已复制", "Copied");
  const press = async () => {
    const copied = await copyText(text);
    setState({ text, copied });
    clearTimeout(timer.current);
    if (copied) timer.current = window.setTimeout(() => setState(null), kSaid);
  };
  return (
    <>
      <button
        type="button"
        class={big ? "primary big" : "icon"}
        aria-label={big ? undefined : result?.copied ? said : label}
        onClick={press}
      >
        <Symbol name={result?.copied ? "check" : "copy"} />
        {big && <span aria-live="polite">{result?.copied ? said : label}</span>}
      </button>
      {result && !result.copied && text.length > kMostInBox && (
        <p class="note by-hand" role="status">
          {t(
            "浏览器不允许自动复制，而这段文字太长，无法手动选取。请允许此页面使用剪贴板后再点一次。",
            "The browser did not allow copying, and this text is too long to select by hand. Allow this page the clipboard, then press again.",
          )}
        </p>
      )}
      {result && !result.copied && text.length <= kMostInBox && (
        <div class="by-hand" role="status">
          <p class="note">
            {t(
              "浏览器不允许自动复制。文字已选中，请按 Ctrl+C（或长按后点“拷贝”）。",
              "The browser did not allow copying. The text is selected: press Ctrl+C, or hold it and choose Copy.",
            )}
          </p>
          <textarea readOnly value={text} rows={4} aria-label={label} ref={(area) => area?.select()} />
        </div>
      )}
    </>
  );
}
