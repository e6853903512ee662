// SPDX-License-Identifier: MIT
// What others change, and what goes away, while the page is open.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {
  apply,
  applyButton,
  assertNothingWrong,
  awaitValue,
  choose,
  closeReview,
  control,
  holdBack,
  openSignedIn,
  openWorld,
  review,
  row,
  signIn,
} from './world.mjs';

const {world, browser} = await openWorld({users: {anna: 'operator', bert: 'operator'}});

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
  await awaitValue(bert, 'Place of installation', 'By Bert');
  await review(bert);
  await applyButton(bert, {isDisabled: true}).waitFor();
  await bert.locator('#review').getByRole('button', {name: 'Keep my edit'}).click();
  await applyButton(bert).click();
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

/** The page gets the values of now again and again, and none from when it asks that address. */
async function hearNothingUntilAsking(page, address) {
  const values = '**/api/v1/values*';
  let kept;
  await new Promise((resolve, reject) => {
    const answer = async (route) => {
      kept ??= route.fetch();
      kept.then(resolve, reject);
      await route.fulfill({response: await kept});
    };
    page.route(values, answer).catch(reject);
  });
  await page.route(address, async (route) => {
    await page.route(values, () => undefined);
    await route.continue();
  });
}

/** The next answer reaches the page when the function is called; it is of now. */
async function delayAnswer(page, address) {
  let letGo;
  const isLetGo = new Promise((resolve) => (letGo = resolve));
  await new Promise((resolve, reject) => {
    const handle = async (route) => {
      const answer = await route.fetch();
      resolve();
      await isLetGo;
      await route.fulfill({response: answer});
    };
    page.route(address, handle, {times: 1}).catch(reject);
  });
  return letGo;
}

test('a change that the page has not heard of is no less of a conflict', async () => {
  const page = await openSignedIn(browser, world);
  await page.route('**/api/v1/events*', (route) => route.fulfill({status: 503}));
  await page.reload();
  await page.locator('#connection.polling').waitFor();
  await choose(page, 'Identity');
  await holdBack(page, '**/dry-run');
  await hearNothingUntilAsking(page, '**/api/v1/transactions');
  world.property('set', 'Location=Unheard');
  await control(page, 'Place of installation').fill('Mine');
  await review(page);
  await applyButton(page).click();
  await page.locator('#review').getByText(/changed this to Unheard meanwhile/).waitFor();
  assert.equal(world.get('Location'), 'Unheard');
  await page.locator('#review').getByRole('button', {name: 'Take the new value'}).click();
  await awaitValue(page, 'Place of installation', 'Unheard');
  assertNothingWrong(page);
});

test('an answer that is older than what was applied since is not shown', async () => {
  const page = await openSignedIn(browser, world);
  await page.route('**/api/v1/events*', (route) => route.fulfill({status: 503}));
  await page.reload();
  await page.locator('#connection.polling').waitFor();
  await choose(page, 'Identity');
  const letGo = await delayAnswer(page, '**/api/v1/values*');
  await control(page, 'Name of the device').fill('Newer');
  await apply(page);
  const answered = page.waitForResponse('**/api/v1/values*');
  letGo();
  await answered;
  world.property('set', 'Location=Told by a later answer');
  await awaitValue(page, 'Place of installation', 'Told by a later answer');
  await awaitValue(page, 'Name of the device', 'Newer');
  assert.equal(await row(page, 'DeviceName').getByText(/^Changed at/).count(), 0);
  assertNothingWrong(page);
});

test('the review tells of a change that the page has not heard of', async () => {
  const page = await openSignedIn(browser, world);
  await page.route('**/api/v1/events*', (route) => route.fulfill({status: 503}));
  await page.reload();
  await page.locator('#connection.polling').waitFor();
  await choose(page, 'Identity');
  await hearNothingUntilAsking(page, '**/api/v1/dry-run');
  world.property('set', 'Location=Not heard either');
  await control(page, 'Place of installation').fill('Mine');
  await review(page);
  await page.locator('#review').getByText(/changed this to Not heard either meanwhile/).waitFor();
  await applyButton(page, {isDisabled: true}).waitFor();
  assertNothingWrong(page);
});

test('while the server is away values are shown as stale, and then brought up to date', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Network');
  await world.server.end('SIGKILL');
  await page.locator('#connection.serverAway').waitFor();
  await page.getByRole('alert').getByText(/they may have changed since/).waitFor();
  await control(page, 'Host name').fill('later');
  await review(page);
  await applyButton(page, {isDisabled: true}).waitFor();
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
