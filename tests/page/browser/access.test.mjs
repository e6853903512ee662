// SPDX-License-Identifier: MIT
// Whether the page can be used by everybody: names, roles, contrast, small screens. Takes the pictures of
// docs/console.md into the folder PAGE_PICTURES on the way.
import assert from 'node:assert/strict';
import {mkdirSync} from 'node:fs';
import {join} from 'node:path';
import {test} from 'node:test';
import {
  assertNothingWrong,
  axeScript,
  choose,
  closeReview,
  control,
  openPage,
  openSignedIn,
  openWorld,
  review,
} from './world.mjs';

const {world, browser} = await openWorld({users: {anna: 'operator'}});
world.property('set', 'DeviceName=Boiler room', 'HostName=gw-north', 'UserName[7]=Anna Berg', 'UserName[8]=Jonas Holm');
mkdirSync(process.env.PAGE_PICTURES, {recursive: true});

async function picture(page, name) {
  await page.screenshot({path: join(process.env.PAGE_PICTURES, name + '.png'), scale: 'css'});
}

/** What the rules of WCAG 2.1 A and AA find. */
async function assertUsable(page, what) {
  // Through the debugger: the page itself lets no script in.
  await page.addScriptTag({path: axeScript}).catch(() => undefined);
  const found = await page.evaluate(async () => {
    const {violations} = await window.axe.run(document, {
      runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa'],
    });
    return violations.map(({id, nodes}) => `${id}: ${nodes.map((node) => node.html).join(' | ')}`);
  });
  assert.deepEqual(found, [], what);
}

for (const colours of ['light', 'dark']) {
  const settings = {viewport: {width: 1100, height: 640}, colorScheme: colours, reducedMotion: 'reduce', bypassCSP: true};

  test(`signing in, forms, review, records and history can be used by all, ${colours}`, async () => {
    const page = await openPage(browser, world.url, settings);
    await page.getByLabel('User').waitFor();
    await assertUsable(page, 'sign-in');
    await page.context().close();

    const open = await openSignedIn(browser, world, 'anna', settings);
    await choose(open, 'Network');
    await control(open, 'Assignment of the address').selectOption({label: 'Static'});
    await control(open, 'Address').fill('192.0.2.20');
    await control(open, 'Host name').fill('Not a host');
    await assertUsable(open, 'form');
    await control(open, 'Host name').fill('gw-south');
    world.property('set', `NameServer=192.0.2.${colours.length}`);
    await open.getByText(/^Changed at/).waitFor();
    await picture(open, `form-${colours}`);
    await review(open);
    await open.getByText(/^Will appear/).waitFor();
    await assertUsable(open, 'review');
    await picture(open, `review-${colours}`);
    await closeReview(open);
    await choose(open, 'User');
    await open.getByRole('cell', {name: 'Anna Berg'}).waitFor();
    await assertUsable(open, 'records');
    await open.locator('summary', {hasText: 'anna'}).click();
    await open.getByRole('button', {name: 'History', exact: true}).click();
    await open.locator('#history li').first().waitFor();
    await assertUsable(open, 'history');
    assertNothingWrong(open);
  });
}

test('the colours are chosen on the page, else they are those of the system', async () => {
  const page = await openSignedIn(browser, world, 'anna', {colorScheme: 'dark'});
  const grounds = [];
  const noteGround = async () =>
    grounds.push(await page.evaluate(() => getComputedStyle(document.body).backgroundColor));
  await noteGround();
  await page.locator('summary', {hasText: 'anna'}).click();
  for (const theme of ['light', 'dark']) {
    await page.getByLabel('Colours').selectOption(theme);
    await page.locator(`html[data-theme=${theme}]`).waitFor();
    await noteGround();
  }
  const [ofSystem, light, dark] = grounds;
  assert.equal(ofSystem, dark);
  assert.notEqual(light, dark);
  assertNothingWrong(page);
});

test('a phone shows all of it without scrolling aside', async () => {
  const page = await openSignedIn(browser, world, 'anna', {
    viewport: {width: 360, height: 740},
    bypassCSP: true,
  });
  await page.getByRole('button', {name: 'Menu'}).click();
  await choose(page, 'Network');
  await control(page, 'Host name').waitFor();
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= window.innerWidth));
  await assertUsable(page, 'phone');
  await picture(page, 'phone');
  assertNothingWrong(page);
});
