import { clock, span } from "../data/format";
import { lostText } from "../data/connection";
import type { Situation } from "../situation";
import { Icon } from "./icons";

/** Tells that the figures are old: at once and without alarm when they lag, as a banner when the station is silent. */
export function Banner({ situation }: { situation: Situation }) {
  const { connection, receivedAt, stale, now } = situation;
  if (connection.state === "lost")
    return (
      <div class="banner" role="status">
        <Icon name="lost" size={20} />
        <span>{lostText(connection.silent, receivedAt)}</span>
      </div>
    );
  return stale && receivedAt !== null ? (
    <p class="lag" role="status">
      Stand {clock(receivedAt / 1000)}, vor {span((now - receivedAt) / 1000)}
    </p>
  ) : null;
}
