// SPDX-License-Identifier: MIT
// Edits of all kinds, from the form to the server.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
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
  otherDevice,
  review,
  row,
} from './world.mjs';

const {world, browser} = await openWorld();

test('texts, switches, choices and numbers are applied as one transaction', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Logging');
  await control(page, 'Least severity that is logged').selectOption({label: 'Everything'});
  await control(page, 'Days for which the log is kept').fill('007');
  await control(page, 'Log to a server too').check();
  await control(page, 'Log server').fill('logs.example');
  await apply(page);
  assert.equal(world.get('LogLevel'), 'Everything');
  assert.equal(world.get('LogDays'), '7');
  assert.equal(world.get('LogRemote'), 'true');
  assert.equal(world.get('LogServer'), 'logs.example');
  const history = JSON.parse(world.property('history', '--json'));
  assert.equal(new Set(history.slice(0, 4).map((entry) => entry.transaction)).size, 1);
  assertNothingWrong(page);
});

test('fields appear and vanish with what governs them, also before it is applied', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Network');
  await page
    .getByText('Address, Network mask, Default gateway: only while “Assignment of the address” is “Static”.')
    .waitFor();
  assert.equal(await control(page, 'Network mask').count(), 0);
  await control(page, 'Assignment of the address').selectOption({label: 'Static'});
  await control(page, 'Network mask').waitFor();
  await row(page, 'NetMask').getByText('because “Assignment of the address” is “Static”').waitFor();
  await review(page);
  await page.getByText('Will appear: Address, Network mask, Default gateway').waitFor();
  await closeReview(page);
  await row(page, 'AddressMode').getByRole('button', {name: /^Take back/}).click();
  await control(page, 'Network mask').waitFor({state: 'detached'});
  assertNothingWrong(page);
});

test('a text that the pattern does not allow is told at once and cannot be applied', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Network');
  await control(page, 'Host name').fill('Not a host name');
  await row(page, 'HostName').getByText('This does not match the pattern').waitFor();
  assert.equal(await control(page, 'Host name').getAttribute('aria-invalid'), 'true');
  await review(page);
  await applyButton(page, {isDisabled: true}).waitFor();
  assert.equal(world.get('HostName'), 'gateway');
  assertNothingWrong(page);
});

test('a value says where it comes from and goes back to its default', async () => {
  world.property('set', 'DeviceName=North');
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  await row(page, 'DeviceName').getByText('Set · Default: Gateway').waitFor();
  await page.getByRole('button', {name: 'Reset Name of the device to its default'}).click();
  await awaitValue(page, 'Name of the device', 'Gateway');
  await apply(page);
  await row(page, 'DeviceName').getByText('Default', {exact: true}).waitFor();
  assert.equal(world.get('DeviceName'), 'Gateway');
  assertNothingWrong(page);
});

test('the last transaction is undone', async () => {
  world.property('set', 'Location=Attic');
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  await awaitValue(page, 'Place of installation', 'Attic');
  await control(page, 'Place of installation').fill('Cellar');
  await apply(page);
  assert.equal(world.get('Location'), 'Cellar');
  await page.locator('#applied').getByRole('button', {name: 'Undo'}).click();
  await page.getByText(/^Undone by transaction/).waitFor();
  await awaitValue(page, 'Place of installation', 'Attic');
  assert.equal(world.get('Location'), 'Attic');
  assertNothingWrong(page);
});

test('what is applied with care is confirmed by the page itself', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Network');
  await control(page, 'Name server').fill('192.0.2.53');
  await review(page);
  await page.getByLabel(/^Take it back unless/).check();
  const letGo = await holdBack(page, '**/confirm');
  await applyButton(page).click();
  await page.getByText(/^Applied, and being confirmed/).waitFor();
  letGo();
  await page.getByText('Applied and confirmed: the device can still be reached.').waitFor();
  assert.equal(world.get('NameServer'), '192.0.2.53');
  assertNothingWrong(page);
});

test('what is applied with care is confirmed although its message was closed', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Network');
  await control(page, 'Name server').fill('192.0.2.54');
  await review(page);
  await page.getByLabel(/^Take it back unless/).check();
  const confirmed = page.waitForResponse(/\/confirm$/);
  const letGo = await holdBack(page, '**/confirm');
  await applyButton(page).click();
  await page.locator('#applied').getByRole('button', {name: 'Close'}).click();
  await page.locator('#applied').waitFor({state: 'detached'});
  letGo();
  assert.equal((await confirmed).status(), 200);
  // What comes later is shown: so would be what the page says of the answer.
  world.property('set', 'HostName=after-it');
  await awaitValue(page, 'Host name', 'after-it');
  assert.equal(await page.locator('#applied').count(), 0);
  assertNothingWrong(page);
});

test('what is not confirmed goes back by itself, and the page tells', async () => {
  world.property('set', 'Location=Before');
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  await awaitValue(page, 'Place of installation', 'Before');
  // As if the change had cut off the way to the device; and as short a time as the service allows.
  await page.route('**/confirm', (route) => route.abort());
  await page.route('**/api/v1/transactions', (route) => {
    const wanted = route.request().postDataJSON();
    return route.continue({postData: JSON.stringify({...wanted, confirm_within: 10})});
  });
  await control(page, 'Place of installation').fill('Lost');
  await review(page);
  await page.getByLabel(/^Take it back unless/).check();
  const applied = page.waitForResponse('**/api/v1/transactions');
  await applyButton(page).click();
  const {transaction} = await (await applied).json();
  await page.getByText(/^Applied, and being confirmed/).waitFor();
  await row(page, 'Location').getByText(/^Changed at/).waitFor();
  await awaitValue(page, 'Place of installation', 'Before');
  const [back] = JSON.parse(world.property('history', '--json', 'Location'));
  assert.equal(Number(back.undoes), transaction);
  await page.unroute('**/confirm');
  await page.getByText('The change was not confirmed in time and has been taken back.').waitFor();
  assertNothingWrong(page);
});

test('typing goes on when a text grows long', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Site and contact');
  const text = 'Behind the second yard, '.repeat(6);
  await control(page, 'Postal address').pressSequentially(text);
  await awaitValue(page, 'Postal address', text);
  assertNothingWrong(page);
});

test('a dialog that the browser itself closes is closed for the page too', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  await control(page, 'Name of the device').fill('Elsewhere');
  await review(page);
  await page.locator('#review').evaluate((dialog) => dialog.close());
  await page.locator('#review').waitFor({state: 'detached'});
  await review(page);
  assertNothingWrong(page);
});

test('records stand in a table and have forms of their own', async () => {
  world.property('set', 'UserName[7]=Anna Berg');
  const page = await openSignedIn(browser, world);
  await choose(page, 'User');
  await page.getByRole('cell', {name: 'Anna Berg'}).waitFor();
  await page.getByLabel('Another record').fill('8');
  await page.getByRole('button', {name: 'Open'}).click();
  await page.getByRole('heading', {name: 'User · Record 8'}).waitFor();
  await control(page, 'Name').fill('Jonas Holm');
  await apply(page);
  await page.getByRole('link', {name: 'All records of User'}).click();
  await page.getByRole('cell', {name: 'Jonas Holm'}).waitFor();
  assert.equal(world.get('UserName[8]'), 'Jonas Holm');
  assertNothingWrong(page);
});

test('what goes with a choice is proposed', async () => {
  const page = await openSignedIn(browser, world);
  await page.getByLabel('View').selectOption('advanced');
  await choose(page, 'Notification by mail');
  await control(page, 'Encryption').selectOption({label: 'TLS'});
  await row(page, 'MailPort').getByRole('button', {name: 'Take it'}).click();
  await awaitValue(page, 'Port of the mail server', '465');
  assertNothingWrong(page);
});

/** Moves with the keyboard, to what has that name. */
async function pressTabUpTo(page, name) {
  const nameOfFocused = () => {
    const {activeElement} = document;
    return (activeElement?.labels?.[0] ?? activeElement)?.textContent.trim() ?? '';
  };
  const passed = [];
  while (passed.length < 60) {
    await page.keyboard.press('Tab');
    const focused = await page.evaluate(nameOfFocused);
    if (name.test(focused)) {
      return;
    }
    passed.push(focused);
  }
  assert.fail(`not among ${passed.join(', ')}`);
}

test('all of it can be done with the keyboard alone', async () => {
  const page = await openSignedIn(browser, world);
  await page.keyboard.press('/');
  await page.keyboard.type('postal');
  await page.getByRole('heading', {level: 2}).waitFor({state: 'detached'});
  await control(page, 'Postal address').waitFor();
  await pressTabUpTo(page, /^Postal address$/);
  await page.keyboard.type('Main Street 1');
  await page.keyboard.press('Tab');
  await page.keyboard.press('r');
  await page.locator('#review').waitFor();
  await pressTabUpTo(page, /^Apply/);
  await page.keyboard.press('Enter');
  await page.locator('#applied').waitFor();
  assert.equal(world.get('SiteAddress'), 'Main Street 1');
  assertNothingWrong(page);
});

test('an export comes back as edits', async () => {
  world.property('set', 'SiteName=Before');
  const page = await openSignedIn(browser, world);
  await choose(page, 'Site and contact');
  await awaitValue(page, 'Name of the site', 'Before');
  await page.locator('summary', {hasText: 'anna'}).click();
  const waiting = page.waitForEvent('download');
  await page.getByRole('button', {name: 'Export'}).click();
  const text = readFileSync(await (await waiting).path(), 'utf8');
  assert.match(text, /"SiteName","record":null,"device":null,"value":"Before"|SiteName.*Before/);
  await page.getByRole('button', {name: 'Import'}).click();
  await page.getByLabel(/^File of an export/).setInputFiles({
    name: 'values.json',
    mimeType: 'application/json',
    buffer: Buffer.from(text.replace('Before', 'After')),
  });
  await page.getByText('1 value differs from those here.').waitFor();
  await page.getByRole('button', {name: 'Take 1 value as edits'}).click();
  await applyButton(page).click();
  await page.locator('#applied').waitFor();
  assert.equal(world.get('SiteName'), 'After');
  assertNothingWrong(page);
});

test('an import shows what the schema refuses and takes the rest', async () => {
  const page = await openSignedIn(browser, world);
  await page.locator('summary', {hasText: 'anna'}).click();
  await page.getByRole('button', {name: 'Import'}).click();
  const values = [
    {path: 'Installation/Site/ContactPhone', value: 'no telephone'},
    {path: 'Installation/Site/ContactName', value: 'Berta'},
    {number: 999999, value: 'x'},
  ];
  await page.getByLabel(/^File of an export/).setInputFiles({
    name: 'values.json',
    mimeType: 'application/json',
    buffer: Buffer.from(JSON.stringify({format: 'property-dump', version: 1, values})),
  });
  await page.getByText('1 value is refused, and left out.').waitFor();
  await page.getByText('1 value is of numbers that the schema does not have, and left out.').waitFor();
  await page.getByRole('button', {name: 'Take 1 value as edits'}).click();
  await page.locator('#review').getByRole('rowheader', {name: /^Person in charge/}).waitFor();
  assertNothingWrong(page);
});

test('another device has values of its own', async () => {
  world.property('set', '--mac', otherDevice, 'DeviceName=Pump house');
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  await control(page, 'Name of the device').fill('Half an edit');
  await page.locator('#device').selectOption(otherDevice);
  await page.getByRole('button', {name: 'Drop and change the device'}).click();
  await awaitValue(page, 'Name of the device', 'Pump house');
  await control(page, 'Name of the device').fill('Well');
  await apply(page);
  assert.match(world.property('get', '--mac', otherDevice, 'DeviceName'), /Well$/);
  assert.equal(world.get('DeviceName'), 'Gateway');
  assertNothingWrong(page);
});

test('no values are shown as those of a device before they have come', async () => {
  world.property('set', '--mac', otherDevice, 'DeviceName=Mill');
  const page = await openSignedIn(browser, world);
  await choose(page, 'Identity');
  const letGo = await holdBack(page, '**/api/v1/values*');
  await page.locator('#device').selectOption(otherDevice);
  await page.locator('main').getByText('Loading …').waitFor();
  assert.equal(await control(page, 'Name of the device').count(), 0);
  letGo();
  await awaitValue(page, 'Name of the device', 'Mill');
  assertNothingWrong(page);
});

test('the history tells what was changed', async () => {
  world.property('set', 'ContactName=First');
  world.property('set', 'ContactName=Second');
  const page = await openSignedIn(browser, world);
  await choose(page, 'Site and contact');
  await page.getByRole('button', {name: 'History of Person in charge'}).click();
  await page.locator('#history li', {hasText: 'First → Second'}).waitFor();
  await page.keyboard.press('Escape');
  await page.locator('#history').waitFor({state: 'detached'});
  assertNothingWrong(page);
});
