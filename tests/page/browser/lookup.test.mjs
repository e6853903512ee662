// SPDX-License-Identifier: MIT
// Fields whose entries stand in a table.
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
  row,
} from './world.mjs';

const {world, browser} = await openWorld({schema: process.env.LOOKUP_SCHEMA});
world.property('set', 'RoomName[2]=Kitchen', 'RoomName[10]=Workshop', 'RoomUse[2]=store');

/** Waits until these are offered, as text and what tells them apart. */
async function awaitOffered(page, label, wanted) {
  await page.waitForFunction(
    ([name, text]) => {
      const input = [...document.querySelectorAll('input')].find(({labels}) =>
        [...(labels ?? [])].some((of) => of.textContent.trim() === name),
      );
      const offered = [...(input?.list?.options ?? [])].map((option) =>
        [option.value, option.label].filter(Boolean),
      );
      return JSON.stringify(offered) === text;
    },
    [label, JSON.stringify(wanted)],
  );
}

test('the records of the table are offered', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Heating');
  await awaitOffered(page, 'Room that decides', [
    ['Kitchen', 'Record 2'],
    ['Workshop', 'Record 10'],
  ]);
  await awaitOffered(page, 'Use that decides', [['222', 'Store · Record 2']]);
  await control(page, 'Room that decides').fill('Kitchen');
  await apply(page);
  assert.equal(world.get('Guide'), 'Kitchen');
  assertNothingWrong(page);
});

test('what is entered in the table is offered before it is applied, and what others enter', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Rooms');
  await page.getByLabel('Another record').fill('3');
  await page.getByRole('button', {name: 'Open'}).click();
  await control(page, 'Name of the room').fill('Attic');
  await choose(page, 'Heating');
  const offered = [
    ['Kitchen', 'Record 2'],
    ['Attic', 'Record 3'],
    ['Workshop', 'Record 10'],
  ];
  await awaitOffered(page, 'Room that decides', offered);
  world.property('set', 'RoomName[11]=Yard');
  await awaitOffered(page, 'Room that decides', [...offered, ['Yard', 'Record 11']]);
  assertNothingWrong(page);
});

test('another text is taken, and told to be in no record', async () => {
  const page = await openSignedIn(browser, world);
  await choose(page, 'Heating');
  await control(page, 'Room that decides').fill('Tent');
  await row(page, 'Guide').getByText('Entries come from the records of Rooms · none of them has this').waitFor();
  await apply(page);
  assert.equal(world.get('Guide'), 'Tent');
  await row(page, 'Guide').getByRole('link', {name: 'Rooms'}).click();
  await page.getByRole('cell', {name: 'Kitchen'}).waitFor();
  assertNothingWrong(page);
});

test('a lookup without a table offers what it has elsewhere', async () => {
  world.property('set', 'Sensor[1]=North wall', 'Sensor[2]=North wall', 'Column[1]=x');
  const page = await openSignedIn(browser, world);
  await page.goto(`${world.url}#/10/5`);
  await awaitOffered(page, 'Sensor', [['North wall', 'Record 1']]);
  await awaitOffered(page, 'Of no column', [['x', 'Record 1']]);
  assertNothingWrong(page);
});
