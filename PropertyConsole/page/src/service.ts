// SPDX-License-Identifier: MIT
// The page's connection: signing in and out, fetching all there is, and following what changes.
import {api, Problem, type ChangeEvent, type ValuesAnswer} from './api';
import type {Console} from './console';
import {Dependencies} from './dependencies';
import {Pauses} from './pauses';
import {Schema} from './schema';
import {texts} from './texts';

const kPoll = 2000; // milliseconds between two questions for all values
const kLongestPause = 16000; // milliseconds before another try
const kLongestStreamPause = 64000; // milliseconds

function isNotSignedIn(problem: unknown): boolean {
  return problem instanceof Problem && problem.status === 401;
}

/** Keeps the state up to date with the service, and says whether it is. */
export class Service {
  /** What the values that the user sees are of. Comes with them, so that nothing is passed over. */
  revision = '';

  /** What the page has heard otherwise than with all values: those that were asked for before are older. */
  private epoch = 0;
  private stream: EventSource | null = null;
  private timer: number | undefined;
  /** Before another try when nothing can be had. */
  private readonly pauses = new Pauses(kPoll, kLongestPause);
  /** Before another stream when one was refused; meanwhile the values are asked for. */
  private readonly streamPauses = new Pauses(kPoll, kLongestStreamPause);
  private nextStream = 0; // milliseconds since 1970

  constructor(private readonly app: Console) {}

  /** Whether the values that are held are those of the device. */
  get hasValues(): boolean {
    return this.revision !== '';
  }

  /** The page knows something newer than all answers that are on their way. */
  outdateAnswers(): void {
    this.epoch++;
  }

  async start(): Promise<void> {
    try {
      this.app.put({session: await api.session()});
      await this.load();
    } catch (problem) {
      this.app.fail(problem);
      if (!isNotSignedIn(problem)) {
        this.again(() => this.start(), problem);
      }
    }
  }

  async signIn(user: string, password: string): Promise<void> {
    this.app.put({signInFailure: ''});
    try {
      this.app.put({session: await api.signIn(user, password)});
    } catch (problem) {
      const status = problem instanceof Problem ? problem.status : 0;
      const {failed, tooMany} = texts.signIn;
      const text =
        status === 401 ? failed : status === 429 ? tooMany : this.app.failureText(problem);
      this.app.put({signInFailure: text});
      return;
    }
    await this.load().catch((problem: unknown) => {
      this.app.fail(problem);
      this.again(() => this.load(), problem);
    });
  }

  async signOut(): Promise<void> {
    this.disconnect();
    await api.signOut(this.app.session?.csrf_token ?? '').catch(() => undefined);
    location.hash = '';
    location.reload();
  }

  /** Nobody is signed in any more; the state stays for who signs in again. */
  leave(): void {
    this.disconnect();
    this.app.put({session: null, link: 'away', panel: null, signInFailure: ''});
  }

  /** Asks first where edits would be lost. */
  chooseDevice(device: string, isDecided = false): void {
    const {app} = this;
    if (app.edits.size > 0 && !isDecided) {
      app.put({wantedDevice: device});
      return;
    }
    this.disconnect();
    this.revision = '';
    this.outdateAnswers();
    app.marks.clear();
    app.put({device, wantedDevice: null, edits: new Map(), link: 'connecting', applied: null});
    this.reload();
  }

  /** Fetches all values again and follows from there: what has come meanwhile comes once more. */
  reload(): void {
    this.loadValues().then(
      () => this.connect(),
      (problem: unknown) => {
        this.app.fail(problem);
        if (!isNotSignedIn(problem)) {
          this.again(() => this.resume(), problem);
        }
      },
    );
  }

  private async load(): Promise<void> {
    const {app} = this;
    app.schema ??= new Schema(await api.schema());
    app.dependencies ??= new Dependencies(app.schema);
    await this.loadValues();
    this.connect();
    await this.loadDevices();
  }

  private async loadDevices(): Promise<void> {
    const {app} = this;
    try {
      app.put(await api.devices());
    } catch {
      // The server is away: the device itself is known.
      app.put({own: app.own || app.device});
    }
  }

  private async loadValues(): Promise<void> {
    const {app} = this;
    const answer = await this.askValues();
    if (this.hasValues) {
      answer.values.forEach((value) => app.note(value));
    }
    app.takeAll(answer.values);
    this.revision = answer.revision;
    this.pauses.reset();
    app.put({device: answer.device, isServerThere: answer.connected, failure: ''});
  }

  private async askValues(): Promise<ValuesAnswer> {
    for (;;) {
      const {epoch} = this;
      const answer = await api.values(this.app.device);
      if (epoch === this.epoch) {
        return answer;
      }
    }
  }

  private disconnect(): void {
    this.stream?.close();
    this.stream = null;
    clearTimeout(this.timer);
  }

  private connect(): void {
    this.disconnect();
    const {app} = this;
    const stream = api.events(app.device, this.revision);
    this.stream = stream;
    const on = (name: string, then: (data: unknown, id: string) => void): void => {
      stream.addEventListener(name, (event) => {
        const message = event as MessageEvent<string>;
        then(JSON.parse(message.data || '{}'), message.lastEventId);
      });
    };
    stream.onopen = () => {
      this.streamPauses.reset();
      app.put({link: 'live', failure: ''});
    };
    stream.onerror = () => this.lose(stream);
    on('change', (data, id) => {
      const change = data as ChangeEvent;
      app.take(change);
      this.revision = id || change.revision || this.revision;
    });
    on('connection', (data) => this.takeConnection((data as {connected: boolean}).connected));
    on('reload', () => this.reload());
    on('signed-out', () => this.leave());
  }

  private takeConnection(isServerThere: boolean): void {
    const {app} = this;
    if (app.isServerThere && !isServerThere) {
      app.asOf = new Date();
    }
    if (!app.isServerThere && isServerThere) {
      void this.loadDevices();
    }
    app.put({isServerThere});
  }

  /** The browser goes on by itself, unless it was refused. */
  private lose(stream: EventSource): void {
    if (stream !== this.stream) {
      return;
    }
    const {app} = this;
    const isRefused = stream.readyState === EventSource.CLOSED;
    if (app.link === 'live') {
      app.asOf = new Date();
    }
    if (app.link !== 'polling' || !isRefused) {
      app.put({link: 'away'});
    }
    if (isRefused) {
      this.nextStream = Date.now() + this.streamPauses.take();
      this.later(() => this.resume(), kPoll);
    }
  }

  private async resume(): Promise<void> {
    this.app.put({session: await api.session()});
    await this.loadValues();
    this.app.put({link: 'polling', asOf: new Date()});
    if (Date.now() < this.nextStream) {
      this.later(() => this.resume(), kPoll);
    } else {
      this.connect();
    }
  }

  /** Tries again what has failed. */
  private again(then: () => Promise<void>, problem: unknown): void {
    this.later(then, this.pauses.take(problem instanceof Problem ? problem.pause : 0));
  }

  /** Goes on until it works or nobody is signed in any more. */
  private later(then: () => Promise<void>, pause: number): void {
    clearTimeout(this.timer);
    this.timer = window.setTimeout(() => {
      then().catch((problem: unknown) => {
        if (isNotSignedIn(problem)) {
          this.leave();
        } else {
          this.app.put({link: 'away'});
          this.again(then, problem);
        }
      });
    }, pause);
  }
}
