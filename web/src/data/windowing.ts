// Which rows of a long list are in the page.

export interface Window {
  first: number;
  /** Behind the last one. */
  end: number;
}

/**
 * Rows of equal height that lie in the visible part, and some beyond it so that fast scrolling shows no holes.
 * @param top where the visible part begins, measured from the top of the list; may be negative
 */
export function visibleRows(count: number, rowHeight: number, top: number, height: number, beyond = 8): Window {
  const first = Math.max(0, Math.floor(top / rowHeight) - beyond);
  const end = Math.min(count, Math.ceil((top + height) / rowHeight) + beyond);
  return first < end ? { first, end } : { first: 0, end: Math.min(count, beyond) };
}
