// SPDX-License-Identifier: MIT
// A property server and a console of a test's own, and browsers that look at them; as many times slower
// than they are as PAGE_SLOWNESS says.
import assert from 'node:assert/strict';
import {spawn, spawnSync} from 'node:child_process';
import {copyFileSync, mkdtempSync, rmSync} from 'node:fs';
import {createRequire} from 'node:module';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {after, afterEach} from 'node:test';

// Packages lie in a folder of the build.
const packages = createRequire(join(process.env.PAGE_PACKAGES, 'package.json'));
const {chromium} = packages('playwright-core');
export const axeScript = packages.resolve('axe-core/axe.min.js');

export const password = 'correct horse';
export const ownDevice = '02:00:00:00:00:01';
export const otherDevice = '02:00:00:00:00:02';
// Limits that a machine with much else to do does not reach either.
const kPatience = 60000; // milliseconds
const kStartPatience = 120000; // milliseconds
const kFirstPort = 11000;
const kPorts = 20000;

/** A program that dies with the test, and its lines. */
class Program {
  constructor(command, env) {
    this.process = spawn('setpriv', ['--pdeathsig', 'KILL', ...command], {
      env: {...process.env, ...env},
      stdio: ['ignore', 'pipe', 'pipe'],
    });
    this.said = '';
    this.process.stderr.on('data', (data) => (this.said += data));
    this.ended = new Promise((resolve) => this.process.once('exit', resolve));
    this.closed = new Promise((resolve) => this.process.once('close', resolve));
  }

  /** Its first line that begins so. */
  async hear(beginning) {
    for await (const line of createInterface({input: this.process.stdout})) {
      if (line.startsWith(beginning)) {
        this.process.stdout.resume();
        return line;
      }
    }
    await this.closed;
    throw new Error(`the program has ended: ${this.said}`);
  }

  async end(signal = 'SIGTERM') {
    this.process.kill(signal);
    await this.ended;
  }
}

export class World {
  constructor(schema, options) {
    this.folder = mkdtempSync(join(tmpdir(), 'page-'));
    this.address = `unix:path=${this.folder}/router`;
    this.library = join(this.folder, 'schema.so');
    this.users = join(this.folder, 'users');
    this.options = options;
    this.sessions = new Map();
    this.env = {PROPERTY_OWN_MAC: ownDevice, MAILROUTER_ADDRESS: this.address};
    copyFileSync(schema, this.library);
  }

  /** `users`: roles by names. `options`: further ones of the console. */
  static async start({schema = process.env.GATEWAY_SCHEMA, users = {anna: 'operator'}, options = []} = {}) {
    const world = new World(schema, options);
    for (const [name, role] of Object.entries(users)) {
      world.addUser(name, role);
    }
    await world.startServer();
    await world.startConsoleAnywhere();
    return world;
  }

  async startServer() {
    this.server = new Program(
      [process.env.SERVER_PROGRAM, '--address', this.address, '--database', join(this.folder, 'values.db'), '--schema', this.library],
      this.env,
    );
    await this.server.hear('ready: ');
  }

  async startConsole(port = new URL(this.url).port) {
    this.console = new Program(
      [process.env.CONSOLE_PROGRAM, '--users', this.users, '--port', port, '--schema', this.library, ...this.options],
      this.env,
    );
    this.url = (await this.console.hear('ready: ')).slice('ready: '.length);
  }

  /**
   * At a port that is not among those that the system gives to connections: when the console is away for a
   * moment, nobody else gets it.
   */
  async startConsoleAnywhere() {
    for (let port = kFirstPort + (process.pid % kPorts); ; ++port) {
      try {
        return await this.startConsole(String(port));
      } catch (failure) {
        if (!/cannot listen/.test(failure.message)) {
          throw failure;
        }
      }
    }
  }

  run(program, args, input = '') {
    const {status, stdout, stderr} = spawnSync(program, args, {
      input,
      encoding: 'utf8',
      env: {...process.env, ...this.env},
    });
    assert.equal(status, 0, `${program} ${args.join(' ')}: ${stderr}`);
    return stdout.trimEnd();
  }

  property(...args) {
    return this.run(process.env.TOOL_PROGRAM, ['--schema', this.library, ...args]);
  }

  /** What a property reads as, for people. */
  get(name) {
    return this.property('get', name).replace(/^[^:]*: /, '');
  }

  addUser(name, role) {
    const args = ['--users', this.users, 'user', 'add', name, '--role', role];
    this.run(process.env.CONSOLE_PROGRAM, args, password + '\n');
  }

  removeUser(name) {
    this.run(process.env.CONSOLE_PROGRAM, ['--users', this.users, 'user', 'remove', name]);
  }

  async end() {
    await this.console.end();
    await this.server.end();
    rmSync(this.folder, {recursive: true, force: true});
  }
}

/** A world and a browser for the tests of a file; the windows of each test end with it. */
export async function openWorld(settings) {
  const world = await World.start(settings);
  const browser = await chromium.launch({
    executablePath: process.env.CHROMIUM_PROGRAM,
    args: ['--no-sandbox', '--disable-dev-shm-usage'],
    timeout: kStartPatience,
  });
  afterEach(() => Promise.all(browser.contexts().map((context) => context.close())));
  after(async () => {
    await browser.close();
    await world.end();
  });
  return {world, browser};
}

/** A window of its own, as another person's: nothing is shared with others. */
export async function openPage(browser, url, settings = {}) {
  const context = await browser.newContext({viewport: {width: 1200, height: 800}, ...settings});
  const page = await context.newPage();
  page.setDefaultTimeout(kPatience);
  if (process.env.PAGE_SLOWNESS) {
    const debug = await context.newCDPSession(page);
    await debug.send('Emulation.setCPUThrottlingRate', {rate: Number(process.env.PAGE_SLOWNESS)});
  }
  page.wrong = [];
  page.on('pageerror', (error) => page.wrong.push(error.message));
  page.on('console', (message) => {
    // Browsers log every answer from 400 on.
    if (message.type() === 'error' && !message.text().startsWith('Failed to load resource')) {
      page.wrong.push(message.text());
    }
  });
  page.on('request', (request) => {
    if (!/^(data|blob):/.test(request.url()) && new URL(request.url()).origin !== new URL(url).origin) {
      page.wrong.push(`asks ${request.url()}`);
    }
  });
  await page.goto(url);
  return page;
}

export async function signIn(page, user = 'anna') {
  await page.getByLabel('User').fill(user);
  await page.getByLabel('Password').fill(password);
  await page.getByRole('button', {name: 'Sign in'}).click();
  await page.locator('#connection.live').waitFor();
}

/** Opened, signed in and live; with the session that the user has, where there is one. */
export async function openSignedIn(browser, world, user = 'anna', settings = {}) {
  const storageState = world.sessions.get(user);
  const page = await openPage(browser, world.url, storageState ? {storageState, ...settings} : settings);
  const form = page.getByRole('button', {name: 'Sign in'});
  await form.or(page.locator('#connection')).first().waitFor();
  if (await form.isVisible()) {
    await signIn(page, user);
    world.sessions.set(user, await page.context().storageState());
  }
  await page.locator('#connection.live').waitFor();
  return page;
}

/** Shows a group; what stood on the page before is gone then. */
export async function choose(page, group) {
  const link = page.getByRole('navigation').getByRole('link', {name: group, exact: true}).last();
  await link.click();
  // On a phone the navigation is closed by now.
  const chosen = page.locator('nav a[aria-current="page"]').filter({hasText: group});
  await chosen.waitFor({state: 'attached'});
  await page.getByRole('heading', {name: group, exact: true}).first().waitFor();
}

/** The control of a property. */
export function control(page, label) {
  return page.getByLabel(label, {exact: true});
}

/** The row of a property, by its name in the schema. */
export function row(page, name) {
  return page.locator(`.row[data-property="${name}"]`);
}

export async function review(page) {
  await page.locator('#review-button').click();
  await page.locator('#review').waitFor();
}

/** Closes the review; what lies below it takes nothing before. */
export async function closeReview(page) {
  await page.keyboard.press('Escape');
  await page.locator('#review').waitFor({state: 'detached'});
}

/** The button of the review, when it can be pressed or when it cannot. */
export function applyButton(page, {isDisabled = false} = {}) {
  return page
    .locator(`#review button${isDisabled ? ':disabled' : ':enabled'}`)
    .filter({hasText: /^Apply/});
}

/** Applies all edits and waits until it is done. */
export async function apply(page) {
  await review(page);
  await applyButton(page).click();
  await page.locator('#review').waitFor({state: 'detached'});
  await page.locator('#applied').waitFor();
}

/** Waits until the control has that value; looked up each time, for the page may draw it anew. */
export async function awaitValue(page, label, text) {
  await page.waitForFunction(
    ([name, wanted]) =>
      [...document.querySelectorAll('input, select, textarea')].some(
        (element) =>
          element.value === wanted &&
          [...(element.labels ?? [])].some((of) => of.textContent.trim() === name),
      ),
    [label, text],
  );
}

/** Requests wait before they reach the service, until the function is called. */
export async function holdBack(page, address) {
  let letGo;
  const isLetGo = new Promise((resolve) => (letGo = resolve));
  await page.route(address, async (route) => {
    await isLetGo;
    await route.continue();
  });
  return letGo;
}

/** Nothing has gone wrong that nobody saw. */
export function assertNothingWrong(page) {
  assert.deepEqual(page.wrong, []);
}
