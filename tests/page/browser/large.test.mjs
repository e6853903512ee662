// SPDX-License-Identifier: MIT
// A schema of 5,000 properties.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {
  apply,
  assertNothingWrong,
  awaitValue,
  choose,
  control,
  openSignedIn,
  openWorld,
} from './world.mjs';

const {world, browser} = await openWorld({schema: process.env.LARGE_SCHEMA});

/**
 * What the page's thread works from now on, in milliseconds, of whatever it is for. Not the time that
 * passes: other tests run beside this one.
 */
async function startCountingWork(page) {
  const debug = await page.context().newCDPSession(page);
  await debug.send('Performance.enable', {timeDomain: 'threadTicks'});
  const count = async () => {
    const {metrics} = await debug.send('Performance.getMetrics');
    return 1000 * metrics.find(({name}) => name === 'TaskDuration').value;
  };
  const begin = await count();
  return async () => (await count()) - begin;
}

test('the first properties are there with less than a second of work', async () => {
  const page = await openSignedIn(browser, world);
  const work = await startCountingWork(page);
  await page.reload();
  await page.locator('.row').first().waitFor();
  const milliseconds = await work();
  assert.ok(milliseconds > 0 && milliseconds < 1000, `${milliseconds} ms`);
  assertNothingWrong(page);
});

test('of a list only what is seen is there', async () => {
  const page = await openSignedIn(browser, world);
  await page.locator('.row').first().waitFor();
  assert.ok((await page.locator('.row').count()) < 300);
  await page.evaluate(() => window.scrollTo(0, document.documentElement.scrollHeight));
  await control(page, 'Setting 49_100').waitFor();
  assert.ok((await page.locator('.row').count()) < 300);
  assertNothingWrong(page);
});

test('typing in the search is answered key by key', async () => {
  const page = await openSignedIn(browser, world);
  await page.locator('.row').first().waitFor();
  const text = 'setting 49_100';
  const work = await startCountingWork(page);
  await page.getByLabel('Search').pressSequentially(text);
  await page.getByText('1 property found').waitFor();
  const milliseconds = (await work()) / text.length;
  assert.ok(milliseconds > 0 && milliseconds < 50, `${milliseconds} ms a key`);
  assertNothingWrong(page);
});

test('one of them is changed', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Unit 25');
  await control(page, 'Setting 25_1').fill('changed');
  await apply(page);
  await awaitValue(page, 'Setting 25_1', 'changed');
  assert.equal(world.get('Setting25_1'), 'changed');
  assertNothingWrong(page);
});
