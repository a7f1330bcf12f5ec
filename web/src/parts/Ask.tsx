// A question before something is done to the rig: what will happen, and two answers within reach of the thumb.

import type { ComponentChildren } from "preact";
import { Sheet } from "./basics";

interface Props {
  title: string;
  /** The word on the button that does it. */
  verb: string;
  onYes: () => void;
  onClose: () => void;
  children: ComponentChildren;
}

export function Ask({ title, verb, onYes, onClose, children }: Props) {
  return (
    <Sheet title={title} onClose={onClose}>
      <div class="ask-text">{children}</div>
      {/* The browser closes the dialog itself and gives the focus back to what had opened it. */}
      <form method="dialog" class="ask-answers">
        <button type="submit" class="big primary" onClick={onYes}>
          {verb}
        </button>
        <button type="submit" class="big">
          Abbrechen
        </button>
      </form>
    </Sheet>
  );
}
