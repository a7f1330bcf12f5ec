// One stroke set on a 24 px grid, 1.75 px, round ends; the colour is the text's.

import type { JSX } from "preact";

const drawings = {
  overview: <><path d="M3.5 16.5a8.5 8.5 0 1 1 17 0" /><path d="M12 16.5l4-5" /><path d="M3.5 20h17" /></>,
  power: <path d="M13 2.75 5.5 13.5H12l-1 7.75 7.5-10.75H12z" />,
  network: <><rect x="8.75" y="2.75" width="6.5" height="5" rx="1.25" /><rect x="2.75" y="16.25" width="6.5" height="5" rx="1.25" /><rect x="14.75" y="16.25" width="6.5" height="5" rx="1.25" /><path d="M12 7.75V12M6 16.25V12h12v4.25" /></>,
  pause: <><circle cx="12" cy="12" r="9.25" /><path d="M9.75 8.75v6.5M14.25 8.75v6.5" /></>,
  events: <><path d="M9 6h11.5M9 12h11.5M9 18h7.5" /><path d="M4 6h.01M4 12h.01M4 18h.01" stroke-width="2.5" /></>,
  more: <><circle cx="5" cy="12" r="1.25" /><circle cx="12" cy="12" r="1.25" /><circle cx="19" cy="12" r="1.25" /></>,
  ok: <><circle cx="12" cy="12" r="9.25" /><path d="m7.75 12.5 2.9 2.9 5.6-6.4" /></>,
  warning: <><path d="M12 3.5 2.75 20h18.5z" /><path d="M12 9.75v4.5" /><path d="M12 17.1h.01" stroke-width="2.25" /></>,
  alarm: <><path d="M8.2 2.75h7.6l5.45 5.45v7.6l-5.45 5.45H8.2L2.75 15.8V8.2z" /><path d="M12 7.5v5.75" /><path d="M12 16.5h.01" stroke-width="2.25" /></>,
  info: <><circle cx="12" cy="12" r="9.25" /><path d="M12 11.25v5" /><path d="M12 7.75h.01" stroke-width="2.25" /></>,
  unknown: <><circle cx="12" cy="12" r="9.25" stroke-dasharray="3.2 3.06" /><path d="M8.5 12h7" /></>,
  online: <><path d="M8.5 2.75V7M15.5 2.75V7" /><path d="M6 7h12v4.5a6 6 0 0 1-12 0z" /><path d="M12 17.5v3.75" /></>,
  connecting: <><path d="M5.5 12h.01M12 12h.01M18.5 12h.01" stroke-width="2.75" /></>,
  off: <><path d="M8.5 2.75V7M15.5 2.75V5" /><path d="M6 9v2.5a6 6 0 0 0 9.4 4.9M18 13V7h-6.5" /><path d="M12 17.5v3.75" /><path d="m3.5 3.5 17 17" /></>,
  error: <><circle cx="12" cy="12" r="9.25" /><path d="m8.75 8.75 6.5 6.5M15.25 8.75l-6.5 6.5" /></>,
  battery: <><rect x="2.75" y="7.5" width="16" height="9" rx="2" /><path d="M21.25 10.75v2.5" /><path d="M6 10.5v3M9.5 10.5v3" /></>,
  mains: <><path d="M2.75 12h3c1.5 0 1.5-6.5 3.25-6.5S10.5 18.5 12.5 18.5 14.5 12 16.5 12h4.75" /></>,
  forward: <path d="m9.5 5.5 6.5 6.5-6.5 6.5" />,
  back: <path d="M14.5 5.5 8 12l6.5 6.5" />,
  close: <path d="m6 6 12 12M18 6 6 18" />,
  lost: <><path d="M12 19h.01" stroke-width="2.5" /><path d="M8.25 15.25a5.3 5.3 0 0 1 7.5 0" /><path d="M4.75 11.5a10.25 10.25 0 0 1 4-2.45M15 9a10.25 10.25 0 0 1 4.25 2.5" /><path d="m3.5 3.5 17 17" /></>,
  screen: <><rect x="2.75" y="4" width="18.5" height="12.5" rx="2" /><path d="M8.5 20.25h7M12 16.5v3.75" /></>,
  person: <><circle cx="12" cy="8" r="4.25" /><path d="M4 20.75c.8-4 4-5.75 8-5.75s7.2 1.75 8 5.75" /></>,
  lock: <><rect x="4.75" y="10.5" width="14.5" height="10.25" rx="2" /><path d="M8 10.5V7.25a4 4 0 0 1 8 0v3.25" /></>,
  light: <><path d="M9 17.5c0-2.25-3.25-3.75-3.25-8a6.25 6.25 0 0 1 12.5 0c0 4.25-3.25 5.75-3.25 8z" /><path d="M9.75 21h4.5" /></>,
  identify: <><circle cx="12" cy="12" r="3.5" /><path d="M12 2.75v2.5M12 18.75v2.5M2.75 12h2.5M18.75 12h2.5M5.5 5.5l1.75 1.75M16.75 16.75l1.75 1.75M18.5 5.5l-1.75 1.75M7.25 16.75 5.5 18.5" /></>,
  record: <><circle cx="12" cy="12" r="9.25" /><circle cx="12" cy="12" r="3.5" fill="currentColor" /></>,
} satisfies Record<string, JSX.Element>;

export type IconName = keyof typeof drawings;

/** Always beside a word that says the same, so it is hidden from screen readers. */
export function Icon({ name, size = 24 }: { name: IconName; size?: number }) {
  return (
    <svg
      class="icon"
      width={size}
      height={size}
      viewBox="0 0 24 24"
      fill="none"
      stroke="currentColor"
      stroke-width="1.75"
      stroke-linecap="round"
      stroke-linejoin="round"
      aria-hidden="true"
    >
      {drawings[name]}
    </svg>
  );
}
