"use strict";
// The page is complete without this: it adds the filter, and unfolds what a link leads to.
(() => {
  const calls = Array.from(document.querySelectorAll("details.call"));
  const form = document.querySelector("form");
  const input = form.querySelector("input");
  const output = form.querySelector("output");
  const [unfold, fold] = form.querySelectorAll("button");
  const nothing = document.querySelector(".nothing");
  const most_unfolded = 300; // more at once would keep the browser busy for long
  const bars = new Map();
  for (const bar of document.querySelectorAll(".lane a")) {
    bars.set(bar.getAttribute("href").slice(1), bar);
  }
  const tiles = Array.from(document.querySelectorAll(".outcomes li"));
  let outcome = null; // of the tile that is chosen
  let texts = null;

  const words_of = (query) => Array.from(query.toLowerCase().matchAll(/"([^"]+)"|(\S+)/g), (found) => found[1] || found[2]);

  const apply = () => {
    const words = words_of(input.value);
    if (words.length && !texts) {
      texts = calls.map((call) => call.textContent.toLowerCase());
    }
    let shown = 0;
    const counts = new Map();
    calls.forEach((call, index) => {
      const holds = words.every((word) => texts[index].includes(word));
      counts.set(call.dataset.outcome, (counts.get(call.dataset.outcome) || 0) + (holds ? 1 : 0));
      const matches = holds && (!outcome || call.dataset.outcome === outcome);
      call.hidden = !matches;
      shown += matches ? 1 : 0;
      const bar = bars.get(call.id);
      if (bar) {
        bar.classList.toggle("off", !matches);
      }
    });
    for (const section of document.querySelectorAll("section.calls")) {
      const found = Array.from(section.querySelectorAll("details.call:not([hidden])"));
      section.hidden = !found.length;
      const count = section.querySelector("h2 small");
      count.dataset.count ??= count.textContent;
      count.textContent = words.length || outcome
        ? found.reduce((sum, call) => sum + Number(call.dataset.messages ?? 1), 0) : count.dataset.count;
    }
    nothing.hidden = shown > 0 || calls.length === 0;
    for (const tile of tiles) {
      tile.setAttribute("aria-pressed", tile.dataset.label === outcome);
      // Of a large trace, the page does not hold all that the tile counts.
      tile.querySelector("b").textContent = words.length ? counts.get(tile.dataset.label) || 0 : tile.dataset.count;
    }
    unfold.disabled = shown > most_unfolded;
    const found = words.length || outcome ? `${shown} of ${calls.length}` : "";
    output.textContent = found + (unfold.disabled ? `${found && "; "}to unfold, filter down to ${most_unfolded}` : "");
  };

  const search_in_address = () => {
    if (!location.hash.startsWith("#search=")) {
      return null;
    }
    try {
      return decodeURIComponent(location.hash.slice(8));
    } catch {
      return location.hash.slice(8);
    }
  };

  const follow_address = () => {
    const search = search_in_address();
    if (search !== null) {
      input.value = search;
      apply();
      return;
    }
    const target = document.getElementById(location.hash.slice(1));
    if (target && target.matches("details.call")) {
      if (target.hidden) {
        input.value = "";
        outcome = null;
        apply();
      }
      target.open = true;
      target.scrollIntoView();
    }
  };

  const search = () => {
    const address = input.value ? "#search=" + encodeURIComponent(input.value) : location.pathname + location.search;
    try {
      history.replaceState(null, "", address);
    } catch {
      // Some browsers refuse this for local files; the filter works all the same.
    }
    apply();
  };

  const set_open = (open, of) => {
    for (const call of of) {
      call.open = open && !call.hidden;
    }
  };

  input.addEventListener("input", search);
  form.addEventListener("submit", (event) => event.preventDefault());
  unfold.addEventListener("click", () => set_open(true, calls));
  fold.addEventListener("click", () => set_open(false, calls));
  for (const tile of tiles) {
    tile.setAttribute("role", "button");
    tile.tabIndex = 0;
    tile.dataset.count = tile.querySelector("b").textContent;
    const choose = () => {
      outcome = outcome === tile.dataset.label ? null : tile.dataset.label;
      apply();
    };
    tile.addEventListener("click", choose);
    tile.addEventListener("keydown", (event) => {
      if (event.key === "Enter" || event.key === " ") {
        event.preventDefault();
        choose();
      }
    });
  }
  document.addEventListener("keydown", (event) => {
    if (event.key === "/" && document.activeElement !== input && !event.ctrlKey && !event.metaKey) {
      event.preventDefault();
      input.focus();
    } else if (event.key === "Escape" && document.activeElement === input && input.value) {
      input.value = "";
      search();
    }
  });
  let unfolded_for_print = [];
  window.addEventListener("beforeprint", () => {
    unfolded_for_print = calls.filter((call) => !call.open && !call.hidden && call.classList.contains("error"))
      .slice(0, most_unfolded);
    set_open(true, unfolded_for_print);
  });
  window.addEventListener("afterprint", () => set_open(false, unfolded_for_print));
  window.addEventListener("hashchange", follow_address);
  form.hidden = false;
  apply();
  follow_address();
})();
