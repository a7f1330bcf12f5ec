import type { Hindrance } from "../data/rig";
import { links } from "../data/route";
import { Icon } from "./icons";

/** Who may not do something, and why; with the way out where there is one. */
export function Hindered({ by, what }: { by: Hindrance; what?: string }) {
  return (
    <p class="hindered">
      <Icon name="lock" size={20} />
      <span>
        {what && `${what}: `}
        {by.text} {by.command && <code>{by.command}</code>}
        {by.login && (
          <a class="hindered-link" href={links.more}>
            Zur Anmeldung
          </a>
        )}
      </span>
    </p>
  );
}
