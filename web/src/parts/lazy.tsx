// A page whose code comes when it is opened first.

import { h, type ComponentChildren, type ComponentType } from "preact";
import { useEffect, useReducer, useState } from "preact/hooks";
import { Empty } from "./basics";

/** @param waiting stands there until the code is */
export function lazy<Props extends object>(
  load: () => Promise<ComponentType<Props>>,
  waiting: ComponentChildren = <Empty title="Lade …" />,
): ComponentType<Props> {
  let loaded: ComponentType<Props> | null = null;
  return function Lazy(props: Props) {
    const [, redraw] = useReducer((version: number) => version + 1, 0);
    const [failed, setFailed] = useState(false);
    useEffect(() => {
      if (loaded) return;
      load().then(
        (component) => {
          loaded = component;
          redraw(0);
        },
        () => setFailed(true),
      );
    }, []);
    if (loaded) return h(loaded, props);
    if (!failed) return <>{waiting}</>;
    return (
      <div class="page">
        <Empty title="Diese Seite ließ sich nicht laden" />
        {/* A browser remembers that a part did not come: only a fresh page asks for it again. */}
        <button type="button" class="text-button" onClick={() => location.reload()}>
          Noch einmal versuchen
        </button>
      </div>
    );
  };
}
