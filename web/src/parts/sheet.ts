// The style sheet of a part that is fetched later: it goes into the page with the part's code.

export function addSheet(css: string): void {
  const style = document.createElement("style");
  style.textContent = css;
  document.head.append(style);
}
