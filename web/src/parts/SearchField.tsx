import type { Search } from "../light";
import { amountText } from "../data/rig";

/** The search of the patch and how much it has found. */
export function SearchField({ search: { state, query, behind, search }, onEnter }: { search: Search; onEnter?: () => void }) {
  const patch = state.data;
  return (
    <>
      <input
        type="search"
        class="filter lamp-search"
        placeholder="Nummer, 2.41, Name, Kreis …"
        aria-label="Lampe suchen"
        autocomplete="off"
        autocapitalize="off"
        spellcheck={false}
        enterkeyhint="search"
        value={query}
        onInput={(event) => search(event.currentTarget.value)}
        onKeyDown={(event) => event.key === "Enter" && onEnter?.()}
      />
      <p class="quiet lamp-amount" role="status">
        {patch && !behind ? amountText(patch.fixtures.length, patch.total, patch.query !== "") : "Suche …"}
      </p>
    </>
  );
}
