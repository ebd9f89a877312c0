/** What another app shared with this page, as its service worker keeps it until it is asked, once. */
export async function takeShared(): Promise<string> {
  const worker = (await navigator.serviceWorker.ready).active;
  if (!worker) return "";
  return new Promise((resolve) => {
    const { port1, port2 } = new MessageChannel();
    port1.onmessage = ({ data }) => resolve(typeof data === "string" ? data : "");
    worker.postMessage("take-shared", [port2]);
    setTimeout(() => resolve(""), 3000);
  });
}
