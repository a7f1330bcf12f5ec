// Fields of a form.

import { useState } from "preact/hooks";

export function NumberField({ id, name, value, unit, onChange, decimals = false }: {
  id: string;
  name: string;
  value: number;
  unit?: string;
  decimals?: boolean;
  onChange: (value: number) => void;
}) {
  const [typed, setTyped] = useState(() => String(value).replace(".", ","));
  return (
    <div class="field">
      <label for={id} class="field-name">
        {name}
        {unit && <span class="quiet"> {unit}</span>}
      </label>
      <input
        id={id}
        inputMode={decimals ? "decimal" : "numeric"}
        autocomplete="off"
        value={typed}
        onInput={(event) => {
          const text = event.currentTarget.value;
          setTyped(text);
          onChange(text.trim() === "" ? NaN : Number(text.replace(",", ".")));
        }}
      />
    </div>
  );
}

export function Choices<Value extends string>({ name, values, value, onChange }: {
  name: string;
  values: Record<Value, string>;
  value: Value;
  onChange: (value: Value) => void;
}) {
  return (
    <div class="field">
      <span class="field-name">{name}</span>
      <div class="choices" role="group" aria-label={name}>
        {(Object.keys(values) as Value[]).map((one) => (
          <button key={one} type="button" aria-pressed={one === value} onClick={() => onChange(one)}>
            {values[one]}
          </button>
        ))}
      </div>
    </div>
  );
}

export function Level({ level, onChange }: { level: number; onChange: (level: number) => void }) {
  const percent = Math.round(level * 100);
  return (
    <div class="field">
      <label for="light-level" class="field-name">
        Helligkeit <span class="figure">{percent} %</span>
      </label>
      <input
        id="light-level"
        type="range"
        min={0}
        max={100}
        step={1}
        value={percent}
        aria-valuetext={`${percent} %`}
        onInput={(event) => onChange(Number(event.currentTarget.value) / 100)}
      />
    </div>
  );
}
