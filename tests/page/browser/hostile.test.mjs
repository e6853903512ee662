// SPDX-License-Identifier: MIT
// Names, texts and values that would do harm on a page that believed them.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {
  apply,
  applyButton,
  assertNothingWrong,
  awaitValue,
  closeReview,
  control,
  holdBack,
  openSignedIn,
  openWorld,
  review,
  row,
} from './world.mjs';

const script = '<script>window.harmed=1</script>';

const {world, browser} = await openWorld({schema: process.env.HOSTILE_SCHEMA});

async function assertUnharmed(page) {
  assert.equal(await page.evaluate(() => window.harmed), undefined);
  assert.equal(await page.locator('#page script, #page img, #page svg, #page b').count(), 0);
  assertNothingWrong(page);
}

test('names and texts of the schema are text', async () => {
  const page = await openSignedIn(browser, world);
  await control(page, script).waitFor();
  await page.getByRole('heading', {name: '<img src=x onerror=window.harmed=1>'}).waitFor();
  await awaitValue(page, script, '<img src=x onerror=window.harmed=1>');
  await row(page, 'Turned').getByText('Turned \\u202edaer').waitFor();
  await assertUnharmed(page);
});

test('values are text, in the form, the review and the history', async () => {
  const page = await openSignedIn(browser, world);
  await control(page, 'Turned \\u202edaer').fill(script);
  await review(page);
  await page.locator('#review').getByRole('cell', {name: script}).waitFor();
  await closeReview(page);
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

test('what only the service can judge is refused with its reason before it is applied', async () => {
  const page = await openSignedIn(browser, world);
  await control(page, 'Slow to match').fill('123');
  await review(page);
  await page.locator('#review').getByText(/^Refused: .*does not match the pattern/).waitFor();
  await applyButton(page, {isDisabled: true}).waitFor();
  await closeReview(page);
  await control(page, 'Slow to match').fill('abc');
  await apply(page);
  assert.equal(world.get('Slow'), 'abc');
  await assertUnharmed(page);
});

test('what is refused when it is applied is told too', async () => {
  const page = await openSignedIn(browser, world);
  await holdBack(page, '**/dry-run');
  await control(page, 'Slow to match').fill('456');
  await review(page);
  await applyButton(page).click();
  await page.locator('#review').getByText(/^Refused: .*does not match the pattern/).waitFor();
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
    await page.reload();
    await page.locator('#connection.live').waitFor();
    await page.locator('main').getByRole('heading').first().waitFor();
  }
  await assertUnharmed(page);
});
