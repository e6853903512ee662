// SPDX-License-Identifier: MIT
// Signing in and out, and who may do what.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {
  assertNothingWrong,
  awaitValue,
  choose,
  control,
  openPage,
  openSignedIn,
  openWorld,
  signIn,
} from './world.mjs';

const {world, browser} = await openWorld({users: {anna: 'operator', vera: 'viewer', dora: 'operator'}});

test('a wrong password is told, and the right one opens the page', async () => {
  const page = await openPage(browser, world.url);
  await page.getByLabel('User').fill('anna');
  await page.getByLabel('Password').fill('wrong');
  await page.getByRole('button', {name: 'Sign in'}).click();
  await page.getByText('No such user, or a wrong password.').waitFor();
  await signIn(page);
  await page.locator('.row').first().waitFor();
  assertNothingWrong(page);
});

test('a session goes on after the page is loaded again, until it is signed out', async () => {
  const page = await openPage(browser, world.url);
  await signIn(page);
  await page.reload();
  await page.locator('#connection.live').waitFor();
  await page.locator('summary', {hasText: 'anna'}).click();
  await page.getByRole('button', {name: 'Sign out'}).click();
  await page.getByRole('button', {name: 'Sign in'}).waitFor();
  await page.reload();
  await page.getByRole('button', {name: 'Sign in'}).waitFor();
  assertNothingWrong(page);
});

test('who only looks can change nothing', async () => {
  const page = await openSignedIn(browser, world, 'vera');
  await choose(page, 'Network');
  assert.equal(await control(page, 'Host name').isEditable(), false);
  assert.equal(await control(page, 'Assignment of the address').isDisabled(), true);
  assert.equal(await page.getByRole('button', {name: /^Reset/}).count(), 0);
  assertNothingWrong(page);
});

test('whose session ends signs in again and finds the edits', async () => {
  const page = await openSignedIn(browser, world, 'dora');
  await choose(page, 'Network');
  await control(page, 'Host name').fill('kept');
  world.removeUser('dora');
  await page.getByText('Your session is over.').waitFor();
  world.addUser('dora', 'operator');
  await signIn(page, 'dora');
  await choose(page, 'Network');
  await awaitValue(page, 'Host name', 'kept');
  assertNothingWrong(page);
});

test('the page is small', async () => {
  const sizeOf = async (path) => {
    const answer = await fetch(new URL(path, world.url), {headers: {'Accept-Encoding': 'gzip'}});
    assert.equal(answer.status, 200);
    assert.equal(answer.headers.get('content-encoding'), 'gzip');
    return {text: await answer.text(), bytes: Number(answer.headers.get('content-length'))};
  };
  const {text, bytes} = await sizeOf('/');
  const files = text.match(/\/assets\/[^"]+/g);
  assert.equal(files.length, 3);
  const sizes = await Promise.all(files.map(sizeOf));
  const all = sizes.reduce((sum, size) => sum + size.bytes, bytes);
  assert.ok(all > 0 && all < 60000, `${all} bytes`);
});

test('nothing is kept that holds a value or a password', async () => {
  const page = await openSignedIn(browser, world);
  const kept = await page.evaluate(() => [
    document.cookie,
    localStorage.length,
    sessionStorage.length,
  ]);
  assert.deepEqual(kept, ['', 0, 0]);
});
