import assert from "node:assert/strict";
import { test } from "node:test";
import { Feed, Refusal, type Ask, type Surroundings } from "../src/data/feed";

/** A clock that moves when told, with its timers. */
class Time implements Surroundings {
  private at = 0;
  private timers: { due: number; run: () => void }[] = [];

  now = () => this.at;

  after(milliseconds: number, run: () => void): () => void {
    const timer = { due: this.at + milliseconds, run };
    this.timers.push(timer);
    return () => {
      this.timers = this.timers.filter((other) => other !== timer);
    };
  }

  async pass(milliseconds: number): Promise<void> {
    const end = this.at + milliseconds;
    for (;;) {
      await settle();
      const next = this.timers.filter((timer) => timer.due <= end).sort((a, b) => a.due - b.due)[0];
      if (!next) break;
      this.timers = this.timers.filter((timer) => timer !== next);
      this.at = next.due;
      next.run();
    }
    this.at = end;
    await settle();
  }
}

const settle = () => new Promise((done) => setImmediate(done));
const times = { pause: 1000, timeout: 3000, longestPause: 4000 };

/** Requests that are answered by hand; an abort ends them as a browser would. */
function server() {
  const open: { answer: (value: number) => void; fail: (error: Error) => void }[] = [];
  let asked = 0;
  const ask: Ask<number> = (signal) => {
    asked += 1;
    return new Promise((answer, fail) => {
      const entry = { answer: leave(answer), fail: leave(fail) };
      open.push(entry);
      signal.addEventListener("abort", () => entry.fail(new Error("aborted")));
      function leave<A>(then: (value: A) => void) {
        return (value: A) => {
          const place = open.indexOf(entry);
          if (place >= 0) open.splice(place, 1);
          then(value);
        };
      }
    });
  };
  return { ask, open, count: () => asked };
}

test("the next request waits for the answer and then the pause", async () => {
  const time = new Time();
  const { ask, open, count } = server();
  const feed = new Feed(ask, times, time);
  feed.resume();
  await time.pass(2500);
  assert.equal(count(), 1, "none is started while one is under way");
  open[0]!.answer(7);
  await time.pass(999);
  assert.equal(count(), 1);
  await time.pass(1);
  assert.equal(count(), 2);
  assert.deepEqual(feed.state, { data: 7, receivedAt: 2500, refusal: null });
});

test("a request without an answer is given up after the time-out and repeated", async () => {
  const time = new Time();
  const { ask, open, count } = server();
  const feed = new Feed(ask, times, time);
  feed.resume();
  await time.pass(3000);
  assert.equal(open.length, 0);
  await time.pass(1000);
  assert.equal(count(), 2);
  assert.equal(feed.contactAt, null);
});

test("failures in a row lengthen the pause up to its limit and an answer restores it", async () => {
  const time = new Time();
  const asked: number[] = [];
  let works = false;
  const feed = new Feed(
    async () => {
      asked.push(time.now());
      if (!works) throw new Error("refused");
      return 1;
    },
    times,
    time,
  );
  feed.resume();
  await time.pass(15_000);
  assert.deepEqual(asked, [0, 1000, 3000, 7000, 11_000, 15_000]);
  works = true;
  await time.pass(5000);
  assert.deepEqual(asked.slice(6), [19_000, 20_000]);
});

test("the last answer is kept while later ones fail", async () => {
  const time = new Time();
  let answer: number | null = 5;
  const feed = new Feed(
    async () => {
      if (answer === null) throw new Error("gone");
      return answer;
    },
    times,
    time,
  );
  feed.resume();
  await time.pass(100);
  answer = null;
  await time.pass(10_000);
  assert.deepEqual(feed.state, { data: 5, receivedAt: 0, refusal: null });
  assert.equal(feed.contactAt, 0);
});

test("a refusal is contact, and its text is told until an answer comes", async () => {
  const time = new Time();
  let refuse = true;
  const feed = new Feed(
    async () => {
      if (refuse) throw new Refusal("Gerät nicht gefunden");
      return 1;
    },
    times,
    time,
  );
  feed.resume();
  await time.pass(1000);
  assert.equal(feed.state.refusal, "Gerät nicht gefunden");
  assert.equal(feed.contactAt, 1000);
  refuse = false;
  await time.pass(2000);
  assert.equal(feed.state.refusal, null);
  assert.equal(feed.state.data, 1);
});

test("a paused feed asks nothing, drops what was under way and asks at once when resumed", async () => {
  const time = new Time();
  const { ask, open, count } = server();
  const feed = new Feed(ask, times, time);
  feed.resume();
  const late = open[0]!;
  feed.pause();
  late.answer(1);
  await time.pass(60_000);
  assert.equal(count(), 1);
  assert.equal(feed.state.data, null, "an answer to a dropped request is not shown");
  feed.resume();
  feed.resume();
  assert.equal(count(), 2);
});

test("refreshing asks at once, but never beside a request under way", async () => {
  const time = new Time();
  const { ask, open, count } = server();
  const feed = new Feed(ask, times, time);
  feed.refresh();
  assert.equal(count(), 0, "a feed nobody wants stays still");
  feed.resume();
  feed.refresh();
  assert.equal(count(), 1);
  open[0]!.answer(1);
  await time.pass(10);
  feed.refresh();
  assert.equal(count(), 2);
  open[0]!.answer(2);
  await time.pass(999);
  assert.equal(count(), 2, "the pause that was under way is not kept beside the new one");
});

test("the pace holds from the next pause on, and a failure is followed up as quickly as ever", async () => {
  const time = new Time();
  const asked: number[] = [];
  let works = true;
  const feed = new Feed(
    async () => {
      asked.push(time.now());
      if (!works) throw new Error("refused");
      return 1;
    },
    times,
    time,
  );
  feed.pace(10_000);
  feed.resume();
  await time.pass(9000);
  works = false;
  await time.pass(2000);
  assert.deepEqual(asked, [0, 10_000, 11_000]);
  assert.equal(feed.interval, 10_000);
});

test("who listens is told once an answer", async () => {
  const time = new Time();
  let told = 0;
  const feed = new Feed(async () => 1, times, time);
  const leave = feed.subscribe(() => (told += 1));
  feed.resume();
  await time.pass(2500);
  assert.equal(told, 3);
  leave();
  await time.pass(5000);
  assert.equal(told, 3);
});

test("what is asked for changes: the answer under way is dropped, and only the last of several changes asks", async () => {
  const time = new Time();
  const { ask, open, count } = server();
  const feed = new Feed(ask, times, time);
  feed.resume();
  assert.equal(count(), 1);
  const stale = open[0]!;
  for (let key = 0; key < 4; key += 1) {
    feed.restart(120);
    await time.pass(50);
  }
  stale.answer(1);
  await time.pass(60);
  assert.equal(feed.state.data, null);
  assert.equal(count(), 1);
  await time.pass(20);
  assert.equal(count(), 2);
  open[0]!.answer(2);
  await time.pass(0);
  assert.equal(feed.state.data, 2);
  await time.pass(1000);
  assert.equal(count(), 3);
  feed.pause();
  feed.restart(120);
  await time.pass(5000);
  assert.equal(count(), 3);
});

test("an answer that came by another way counts, and the one under way comes too late", async () => {
  const time = new Time();
  const { ask, open, count } = server();
  const feed = new Feed(ask, times, time);
  feed.resume();
  const late = open[0]!;
  feed.put(7);
  late.answer(1);
  await time.pass(999);
  assert.equal(feed.state.data, 7);
  assert.equal(count(), 1);
  await time.pass(1);
  assert.equal(count(), 2);
  feed.pause();
  feed.put(8);
  await time.pass(5000);
  assert.deepEqual([feed.state.data, count()], [8, 2]);
});
