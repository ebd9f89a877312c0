import { useEffect, useRef, useState } from "preact/hooks";

import { Deriving } from "../join";

/** What may derive a key, once at a time: how far it is, why it failed. It ends with its view. */
export function useDerivation() {
  const [progress, setProgress] = useState<"begun" | "deriving" | number | null>(null); // a long one's iterations
  const [failure, setFailure] = useState<unknown>(null);
  const running = useRef<AbortController>();
  useEffect(() => () => running.current?.abort(), []);

  const run = async (work: (deriving: Deriving) => Promise<void>) => {
    const { signal } = (running.current = new AbortController());
    setFailure(null);
    setProgress("begun");
    try {
      await work({ signal, began: () => setProgress("deriving"), takesLong: setProgress });
    } catch (error) {
      if (!signal.aborted) setFailure(error);
    }
    if (!signal.aborted) setProgress(null);
  };
  const cancel = () => {
    running.current?.abort();
    setProgress(null);
  };
  return { progress, failure, forgive: () => setFailure(null), run, cancel };
}
