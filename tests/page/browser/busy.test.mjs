// SPDX-License-Identifier: MIT
// What the page does while the console has no room for it.
import assert from 'node:assert/strict';
import {connect} from 'node:net';
import {test} from 'node:test';
import {
  apply,
  applyButton,
  assertNothingWrong,
  choose,
  control,
  openSignedIn,
  openWorld,
  otherDevice,
  review,
} from './world.mjs';

const kThreads = 4;
const kWaiting = 16;
const {world, browser} = await openWorld({
  options: [
    ...['--threads', String(kThreads), '--waiting-connections', String(kWaiting)],
    ...['--request-seconds', '300'],
  ],
});

/**
 * Connections that say nothing take all the room, until the function is called. Some are refused before
 * the threads have taken theirs. There is no room when the last one is refused, for by then all others are
 * decided, and as many are left as fit.
 */
async function takeRoom() {
  const {hostname, port} = new URL(world.url);
  const held = new Map();
  const open = () => {
    const socket = connect(Number(port), hostname);
    // A refused one may be reset before its answer is read.
    socket.on('error', () => undefined);
    socket.resume();
    held.set(socket, new Promise((resolve) => socket.once('close', resolve)));
    socket.once('close', () => held.delete(socket));
    return socket;
  };
  for (;;) {
    while (held.size < kThreads + kWaiting) {
      open();
    }
    const last = open();
    await Promise.race(held.values());
    await new Promise(setImmediate);
    if (!held.has(last) && held.size === kThreads + kWaiting) {
      return () => [...held.keys()].forEach((socket) => socket.destroy());
    }
  }
}

test('a change is applied as soon as there is room', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  await control(page, 'Name of the device').fill('Patient');
  await review(page);
  await applyButton(page).waitFor();
  const giveRoom = await takeRoom();
  const refused = page.waitForResponse(
    (answer) => answer.url().endsWith('/transactions') && answer.status() === 503,
  );
  await applyButton(page).click();
  await refused;
  giveRoom();
  await page.locator('#applied').waitFor();
  assert.equal(world.get('DeviceName'), 'Patient');
  assertNothingWrong(page);
});

test('all that is refused for want of room is asked again, the stream too', async () => {
  const page = await openSignedIn(browser, world);
  const counts = new Map();
  await page.route('**/api/v1/**', (route) => {
    const {pathname} = new URL(route.request().url());
    counts.set(pathname, (counts.get(pathname) ?? 0) + 1);
    return counts.get(pathname) > 1
      ? route.continue()
      : route.fulfill({status: 503, headers: {'Retry-After': '1'}});
  });
  await page.reload();
  await page.locator('#connection.live').waitFor();
  await choose(page, 'Identity');
  await control(page, 'Place of installation').fill('At last');
  await apply(page);
  assert.equal(world.get('Location'), 'At last');
  for (const name of ['session', 'schema', 'values', 'devices', 'events', 'transactions']) {
    assert.ok(counts.get(`/api/v1/${name}`) > 1, name);
  }
  assertNothingWrong(page);
});

test('devices are asked for again when the property server is back', async () => {
  world.property('set', '--mac', otherDevice, 'DeviceName=Far');
  const page = await openSignedIn(browser, world);
  await world.server.end('SIGKILL');
  await page.locator('#connection.serverAway').waitFor();
  await page.reload();
  await page.locator('#connection.serverAway').waitFor();
  assert.equal(await page.locator('#device option').count(), 1);
  await world.startServer();
  await page.locator('#device option').nth(1).waitFor({state: 'attached'});
  assertNothingWrong(page);
});
