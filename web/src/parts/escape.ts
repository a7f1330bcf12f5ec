import { useEffect } from "preact/hooks";

/** Escape leads there, unless something that lies over the page is to be closed or a field to be emptied first. */
export function useEscape(to: string, active: boolean): void {
  useEffect(() => {
    if (!active) return;
    const escape = (event: KeyboardEvent) => {
      const inField = event.target instanceof HTMLInputElement && event.target.value !== "";
      if (event.key === "Escape" && !inField && !document.querySelector("dialog[open], .fresh")) location.hash = to;
    };
    window.addEventListener("keydown", escape);
    return () => window.removeEventListener("keydown", escape);
  }, [to, active]);
}
