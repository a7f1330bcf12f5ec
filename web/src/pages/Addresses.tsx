// The details of the network besides switches: addresses in use, queriers, services.

import { useMemo, useState } from "preact/hooks";
import { count, dateAndClock } from "../data/format";
import { addressLine, filterAddresses, queryingLine, serviceLine } from "../data/detailLines";
import type { NetDetail } from "../data/netdetail";
import { Empty, LevelMark, Section } from "../parts/basics";
import { Lines } from "../parts/Lines";

function AddressList({ detail, elapsed }: { detail: NetDetail; elapsed: number }) {
  const { addresses, baseline } = detail;
  const [search, setSearch] = useState("");
  const [onlyNew, setOnlyNew] = useState(false);
  const lines = useMemo(() => filterAddresses(addresses, search, onlyNew).map(addressLine), [addresses, search, onlyNew]);
  const fresh = addresses.filter((one) => one.new).length;
  if (addresses.length === 0) return <Empty title="Noch keine Adresse gehört" />;
  return (
    <>
      <p class="quiet map-sum">{baseline === null ? "Noch keine Referenz bekannter Geräte" : `Referenz vom ${dateAndClock(baseline)}`}</p>
      <input
        type="search"
        class="filter"
        placeholder="Name, IP oder MAC"
        aria-label="Adressen filtern"
        autocomplete="off"
        value={search}
        onInput={(event) => setSearch(event.currentTarget.value)}
      />
      <div class="choices" role="group" aria-label="Welche Adressen gezeigt werden">
        <button type="button" aria-pressed={!onlyNew} onClick={() => setOnlyNew(false)}>
          alle <span class="figure">{addresses.length}</span>
        </button>
        <button type="button" aria-pressed={onlyNew} onClick={() => setOnlyNew(true)}>
          neu <span class="figure">{fresh}</span>
        </button>
      </div>
      {lines.length > 0 ? <Lines name="Adressen" lines={lines} elapsed={elapsed} /> : <Empty title="Keine dabei" />}
    </>
  );
}

export function Addresses({ detail, elapsed }: { detail: NetDetail; elapsed: number }) {
  const queriers = useMemo(() => detail.igmp.map(queryingLine), [detail]);
  const services = useMemo(() => detail.services.map(serviceLine), [detail]);
  return (
    <>
      {detail.ipConflicts.length > 0 && (
        <ul class="device-alarms">
          {detail.ipConflicts.map((conflict) => (
            <li key={conflict.ip} class="alarm">
              <LevelMark level="alarm" />
              <span class="anywhere">
                {conflict.ip} wird von {count(conflict.macs.length, "Gerät", "Geräten")} benutzt: {conflict.macs.join(", ")}
              </span>
            </li>
          ))}
        </ul>
      )}
      <Section title="Adressen">
        <AddressList detail={detail} elapsed={elapsed} />
      </Section>
      {queriers.length > 0 && (
        <Section title="IGMP" aside={<span class="quiet">{count(queriers.length, "Adapter", "Adapter")}</span>}>
          <Lines name="IGMP" lines={queriers} elapsed={elapsed} />
        </Section>
      )}
      {services.length > 0 && (
        <Section title="Dienste" aside={<span class="quiet">{services.length}</span>}>
          <Lines name="Dienste" lines={services} elapsed={elapsed} />
        </Section>
      )}
    </>
  );
}
