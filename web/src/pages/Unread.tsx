import { Empty } from "../parts/basics";

/** In place of switches and of the map before the first reading. */
export function Unread() {
  return (
    <Empty title="Noch keine Switch-Daten">
      Für die Karte Switche mit SNMP unter „Geräte“ eintragen. Die MAC-Tabellen (Bridge-MIB) und LLDP-Nachbarn werden etwa jede Minute gelesen.
    </Empty>
  );
}
