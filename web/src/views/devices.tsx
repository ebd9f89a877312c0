import { useState } from "preact/hooks";

import { relativeTime, t } from "../l10n";
import { Session } from "../session";
import { deviceSymbol, failureText, kindLabel, shown } from "../texts";
import { Device } from "../wire";
import { Field, Name, Notice } from "./controls";
import { Symbol } from "./symbol";

function presence(lastSeen: number, online: boolean, own: boolean, now: number): string {
  if (online) return t("在线", "Online");
  if (own || lastSeen <= 0) return t("离线", "Offline");
  const seen = relativeTime(lastSeen, now);
  return t(`${seen}在线`, `seen ${seen}`);
}

function DeviceRow({ session, device, now }: { session: Session; device: Device; now: number }) {
  const own = device.id === session.membership?.deviceId;
  const online = device.online && session.connection === "connected"; // else nobody knows
  const lastSeen = device.online ? Math.max(device.lastSeen, session.lostAt) : device.lastSeen;
  const [open, setOpen] = useState(false);
  const [name, setName] = useState("");
  const [failure, setFailure] = useState<unknown>(null);

  const act = async (event: Event, what: () => Promise<void>) => {
    event.preventDefault();
    setFailure(null);
    try {
      await what();
      setOpen(false);
    } catch (error) {
      setFailure(error);
    }
  };
  const toggle = () => {
    setName(shown(device.name));
    setFailure(null);
    setOpen(!open);
  };

  return (
    <li>
      <div class="row device">
        <span class="badge">
          <Symbol name={deviceSymbol(device)} />
        </span>
        <div class="grow">
          <p class="name">
            <Name of={device.name} />
          </p>
          <p class="note">
            <span class={online ? "dot success" : "dot"} />
            <bdi>{own ? t("此浏览器", "This browser") : kindLabel(device.platform)}</bdi>
            {" · " + presence(lastSeen, online, own, now)}
          </p>
        </div>
        <button
          type="button"
          class={own ? "icon" : "icon danger"}
          aria-expanded={open}
          aria-label={own ? t("改名", "Rename") : t(`移除“${shown(device.name)}”`, `Remove “${shown(device.name)}”`)}
          onClick={toggle}
        >
          <Symbol name={own ? "pencil" : "remove"} />
        </button>
      </div>
      {open && own && (
        <form class="ask stack" onSubmit={(event) => act(event, () => session.rename(name.trim()))}>
          <Field label={t("设备名称", "Device name")} value={name} onInput={setName} maxLength={64} focus />
          {failure !== null && <Notice kind="danger">{failureText(failure)}</Notice>}
          <div class="buttons">
            <button type="submit" class="primary" disabled={name.trim() === ""}>
              {t("保存", "Save")}
            </button>
            <button type="button" onClick={toggle}>
              {t("取消", "Cancel")}
            </button>
          </div>
        </form>
      )}
      {open && !own && (
        <div class="ask stack">
          <p>{t("移除这台设备？移除后需重新配对才能加入。", "Remove this device? It must pair again to rejoin.")}</p>
          {failure !== null && (
            <Notice kind="danger">{t("移除失败：", "Couldn’t remove: ") + failureText(failure)}</Notice>
          )}
          <div class="buttons">
            <button type="button" class="danger" onClick={(event) => act(event, () => session.remove(device.id))}>
              {t("移除", "Remove")}
            </button>
            <button type="button" onClick={toggle}>
              {t("取消", "Cancel")}
            </button>
          </div>
        </div>
      )}
    </li>
  );
}

export function Devices({ session, now }: { session: Session; now: number }) {
  const { devices } = session;
  if (devices.length === 0) return null; // not known yet
  return (
    <section>
      <h2>
        {t("设备", "Devices")} <span class="count">{devices.length}</span>
      </h2>
      <ul class="card list">
        {devices.map((device) => (
          <DeviceRow key={device.id} session={session} device={device} now={now} />
        ))}
      </ul>
    </section>
  );
}
