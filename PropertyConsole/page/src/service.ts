// SPDX-License-Identifier: MIT
// The page's connection: signing in and out, fetching all there is, and following what changes.
import {api, Problem, type ChangeEvent} from './api';
import type {Console} from './console';
import {Dependencies} from './dependencies';
import {Schema} from './schema';
import {texts} from './texts';

const kRetry = 2000; // milliseconds

function isNotSignedIn(problem: unknown): boolean {
  return problem instanceof Problem && problem.status === 401;
}

/** Keeps the state up to date with the service, and says whether it is. */
export class Service {
  /** What the values that the user sees are of. Comes with them, so that nothing is passed over. */
  revision = '';

  private stream: EventSource | null = null;
  private timer: number | undefined;

  constructor(private readonly app: Console) {}

  async start(): Promise<void> {
    try {
      this.app.put({session: await api.session()});
      await this.load();
    } catch (problem) {
      this.app.fail(problem);
      if (!isNotSignedIn(problem)) {
        this.later(() => this.start());
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
      this.later(() => this.load());
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
          this.later(() => this.resume());
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
    try {
      app.put(await api.devices());
    } catch {
      // The server is away: the device itself is known.
      app.put({own: app.own || app.device});
    }
  }

  private async loadValues(): Promise<void> {
    const {app} = this;
    const answer = await api.values(app.device);
    if (this.revision !== '') {
      answer.values.forEach((value) => app.note(value));
    }
    app.takeAll(answer.values);
    this.revision = answer.revision;
    app.put({device: answer.device, isServerThere: answer.connected, failure: ''});
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
    stream.onopen = () => app.put({link: 'live', failure: ''});
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
    if (this.app.isServerThere && !isServerThere) {
      this.app.asOf = new Date();
    }
    this.app.put({isServerThere});
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
      this.later(() => this.resume());
    }
  }

  private async resume(): Promise<void> {
    this.app.put({session: await api.session()});
    await this.loadValues();
    this.app.put({link: 'polling', asOf: new Date()});
    this.connect();
  }

  /** Tries until it works or nobody is signed in any more. */
  private later(then: () => Promise<void>): void {
    clearTimeout(this.timer);
    this.timer = window.setTimeout(() => {
      then().catch((problem: unknown) => {
        if (isNotSignedIn(problem)) {
          this.leave();
        } else {
          this.app.put({link: 'away'});
          this.later(then);
        }
      });
    }, kRetry);
  }
}
