// SPDX-License-Identifier: MIT
// What others change, and what goes away, while the page is open.
import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import {
  apply,
  assertNothingWrong,
  awaitValue,
  choose,
  closeReview,
  control,
  openSignedIn,
  row,
  signIn,
  startBrowser,
  World,
} from './world.mjs';

let world;
let browser;
before(async () => {
  world = await World.start({users: {anna: 'operator', bert: 'operator'}});
  browser = await startBrowser();
});
after(async () => {
  await browser?.close();
  await world?.end();
});

test('a change of somebody else arrives and is marked', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  world.property('set', 'DeviceName=Attic');
  await awaitValue(page, 'Name of the device', 'Attic');
  await row(page, 'DeviceName').getByText(/^Changed at/).waitFor();
  assertNothingWrong(page);
});

test('of two at one property the second one decides', async () => {
  const anna = await openSignedIn(browser, world, 'anna');
  const bert = await openSignedIn(browser, world, 'bert');
  for (const page of [anna, bert]) {
    await choose(page, 'Identity');
  }
  await control(anna, 'Place of installation').fill('By Anna');
  await control(bert, 'Place of installation').fill('By Bert');
  await apply(anna);
  await row(bert, 'Location').getByText(/changed this to By Anna meanwhile/).waitFor();
  assert.equal(await control(bert, 'Place of installation').inputValue(), 'By Bert');
  await bert.locator('#review-button').click();
  assert.equal(await bert.getByRole('button', {name: /^Apply/}).isDisabled(), true);
  await bert.locator('#review').getByRole('button', {name: 'Keep my edit'}).click();
  await bert.getByRole('button', {name: /^Apply/}).click();
  await bert.locator('#applied').waitFor();
  await awaitValue(anna, 'Place of installation', 'By Bert');
  assert.equal(world.get('Location'), 'By Bert');
  assertNothingWrong(anna);
  assertNothingWrong(bert);
});

test('where changes cannot come by themselves they are asked for', async () => {
  const page = await openSignedIn(browser, world);
  await page.route('**/api/v1/events*', (route) => route.fulfill({status: 503}));
  await page.reload();
  await page.locator('#connection.polling').waitFor();
  await choose(page, 'Identity');
  world.property('set', 'Location=Asked for');
  await awaitValue(page, 'Place of installation', 'Asked for');
  assertNothingWrong(page);
});

test('a change that the page has not heard of is no less of a conflict', async () => {
  const page = await openSignedIn(browser, world);
  await page.route('**/api/v1/events*', (route) => route.fulfill({status: 503}));
  await page.reload();
  await page.locator('#connection.polling').waitFor();
  await choose(page, 'Identity');
  // From now on it hears nothing.
  await page.route('**/api/v1/values*', () => undefined);
  world.property('set', 'Location=Unheard');
  await control(page, 'Place of installation').fill('Mine');
  await page.locator('#review-button').click();
  await page.getByRole('button', {name: /^Apply/}).click();
  await page.locator('#review').getByText(/changed this to Unheard meanwhile/).waitFor();
  assert.equal(world.get('Location'), 'Unheard');
  await page.locator('#review').getByRole('button', {name: 'Take the new value'}).click();
  await awaitValue(page, 'Place of installation', 'Unheard');
  assertNothingWrong(page);
});

test('while the server is away values are shown as stale, and then brought up to date', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Network');
  await world.server.end('SIGKILL');
  await page.locator('#connection.serverAway').waitFor();
  await page.getByRole('alert').getByText(/they may have changed since/).waitFor();
  await control(page, 'Host name').fill('later');
  await page.locator('#review-button').click();
  assert.equal(await page.getByRole('button', {name: /^Apply/}).isDisabled(), true);
  await closeReview(page);
  await world.startServer();
  world.property('set', 'NameServer=192.0.2.1');
  await page.locator('#connection.live').waitFor();
  await awaitValue(page, 'Name server', '192.0.2.1');
  await apply(page);
  assert.equal(world.get('HostName'), 'later');
  assertNothingWrong(page);
});

test('a console that is started again asks to sign in and finds the page as it was', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Network');
  await control(page, 'Host name').fill('kept');
  await world.console.end('SIGKILL');
  await page.locator('#connection.away').waitFor();
  await world.startConsole();
  await page.getByText('Your session is over.').waitFor();
  await signIn(page);
  await awaitValue(page, 'Host name', 'kept');
  await apply(page);
  assert.equal(world.get('HostName'), 'kept');
  assertNothingWrong(page);
});
