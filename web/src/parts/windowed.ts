// Which rows of a long list are in the page while whatever holds the list is scrolled.

import type { RefObject } from "preact";
import { useEffect, useState } from "preact/hooks";
import { visibleRows, type Window } from "../data/windowing";

/** From this width of the list on a row has its parts beside each other. */
const wideFrom = 640;

export interface Windowed extends Window {
  rowHeight: number;
  /** How far the list is scrolled beyond its beginning; negative before it. */
  top: number;
  wide: boolean;
}

export function useWindowed(box: RefObject<HTMLElement>, count: number, heights: { narrow: number; wide: number }): Windowed {
  const [top, setTop] = useState(0);
  const [wide, setWide] = useState(false);
  useEffect(() => {
    let frame = 0;
    const measure = () => {
      frame = 0;
      if (!box.current) return;
      setTop(-box.current.getBoundingClientRect().top);
      setWide(box.current.clientWidth >= wideFrom);
    };
    const later = () => {
      frame ||= requestAnimationFrame(measure);
    };
    measure();
    const resized = new ResizeObserver(later);
    resized.observe(box.current!);
    // Lists above that change their length move this one as well.
    resized.observe(document.body);
    // Caught on the way down, since a list that scrolls inside the page tells only itself.
    document.addEventListener("scroll", later, { passive: true, capture: true });
    window.addEventListener("resize", later);
    return () => {
      cancelAnimationFrame(frame);
      resized.disconnect();
      document.removeEventListener("scroll", later, { capture: true });
      window.removeEventListener("resize", later);
    };
  }, []);
  const rowHeight = wide ? heights.wide : heights.narrow;
  return { ...visibleRows(count, rowHeight, top, window.innerHeight), rowHeight, top, wide };
}
