import type { Deed } from "./deed";
import { Icon } from "./icons";

/** What came of the commands named, beside what they were given with. Always in the page, so that it is read out. */
export function Outcome({ deed, of }: { deed: Deed; of: string[] }) {
  const { outcome, failure } = deed.last !== null && of.includes(deed.last) ? deed : { outcome: "", failure: "" };
  return (
    <div class="outcome" role="status">
      {outcome && (
        <p class="mark ok">
          <Icon name="ok" size={20} />
          {outcome}
        </p>
      )}
      {failure && (
        <p class="mark warning">
          <Icon name="warning" size={20} />
          {failure}
        </p>
      )}
    </div>
  );
}
