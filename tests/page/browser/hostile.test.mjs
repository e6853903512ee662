// SPDX-License-Identifier: MIT
// Names, texts and values that would do harm on a page that believed them.
import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import {
  apply,
  assertNothingWrong,
  awaitValue,
  closeReview,
  control,
  openSignedIn,
  review,
  row,
  startBrowser,
  World,
} from './world.mjs';

const script = '<script>window.harmed=1</script>';

let world;
let browser;
before(async () => {
  world = await World.start({schema: process.env.HOSTILE_SCHEMA});
  browser = await startBrowser();
});
after(async () => {
  await browser?.close();
  await world?.end();
});

async function assertUnharmed(page) {
  assert.equal(await page.evaluate(() => window.harmed), undefined);
  assert.equal(await page.locator('#page script, #page img, #page svg, #page b').count(), 0);
  assertNothingWrong(page);
}

test('names and texts of the schema are text', async () => {
  const page = await openSignedIn(browser, world);
  await control(page, script).waitFor();
  await page.getByRole('heading', {name: '<img src=x onerror=window.harmed=1>'}).waitFor();
  assert.equal(await control(page, script).inputValue(), '<img src=x onerror=window.harmed=1>');
  await row(page, 'Turned').getByText('Turned \\u202edaer').waitFor();
  await assertUnharmed(page);
});

test('values are text, in the form, the review and the history', async () => {
  const page = await openSignedIn(browser, world);
  await control(page, 'Turned \\u202edaer').fill(script);
  await review(page);
  await page.locator('#review').getByRole('cell', {name: script}).waitFor();
  await page.getByRole('button', {name: 'Close'}).first().click();
  await apply(page);
  assert.equal(world.get('Turned'), script);
  await row(page, 'Turned').getByRole('button', {name: /^History/}).click();
  await page.locator('#history li', {hasText: script}).waitFor();
  await assertUnharmed(page);
});

test('lines and characters that are not seen arrive whole and are shown', async () => {
  const text = 'first\nsecond\u202e third';
  world.property('set', `Turned=${text}`);
  const page = await openSignedIn(browser, world);
  await awaitValue(page, 'Turned \\u202edaer', text);
  await control(page, 'Turned \\u202edaer').fill('other');
  await row(page, 'Turned').getByText('it is first␊second\\u202e third').waitFor();
  await assertUnharmed(page);
});

test('what only the service can judge is refused with its reason', async () => {
  const page = await openSignedIn(browser, world);
  await control(page, 'Slow to match').fill('123');
  await review(page);
  await page.locator('#review').getByRole('button', {name: /^Apply/}).click();
  await page.locator('#review').getByText(/^Refused: .*does not match the pattern/).waitFor();
  assert.equal(await page.getByRole('button', {name: /^Apply/}).isDisabled(), true);
  await closeReview(page);
  await control(page, 'Slow to match').fill('abc');
  await apply(page);
  assert.equal(world.get('Slow'), 'abc');
  await assertUnharmed(page);
});

test('fields that govern each other can be looked at', async () => {
  const page = await openSignedIn(browser, world);
  await control(page, 'Governs what governs it').uncheck();
  await page.getByText(/only while “Governs what governs it” is on/).waitFor();
  await assertUnharmed(page);
});

test('an address of the page that means nothing shows the page', async () => {
  const page = await openSignedIn(browser, world);
  for (const hash of ['#/999999999999', '#/10/99999999999999', '#<img src=x>', '#/constructor']) {
    await page.goto(world.url + hash);
    await page.locator('#connection.live').waitFor();
    await page.locator('main').getByRole('heading').first().waitFor();
  }
  await assertUnharmed(page);
});
