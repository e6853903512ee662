// SPDX-License-Identifier: MIT
// The values of records as a table, and the way to another record.
import type {TargetedSubmitEvent} from 'preact';
import {useState} from 'preact/hooks';
import {routeTo, type Console} from './console';
import type {Branch, Field} from './schema';
import {shownText, visible} from './show';
import {texts} from './texts';
import {keyOf, textOf} from './values';

const kPage = 50; // rows that are shown at once

interface Props {
  app: Console;
  branch: Branch;
  fields: readonly Field[];
  records: readonly number[];
}

function Cell({app, field, record}: {app: Console; field: Field; record: number}) {
  const key = keyOf({number: field.number, record});
  const edit = app.edits.get(key);
  const value = app.valueAt(field, record);
  const text = edit ? edit.text || (field.default ?? null) : textOf(value);
  const isDefault = edit ? !edit.text : value.source !== 'server';
  const className = [isDefault && 'default', edit && 'edited', app.marks.has(key) && 'marked'];
  return (
    <td class={className.filter(Boolean).join(' ')}>
      <bdi>{value.secret && edit ? texts.records.secret : shownText(field, text)}</bdi>
    </td>
  );
}

export function RecordTable({app, branch, fields, records}: Props) {
  const [count, setCount] = useState(kPage);
  const number = branch.node.number;
  const rest = records.length - count;
  return (
    <div class="records">
      <div class="scroll" tabIndex={0} role="region" aria-label={texts.records.heading(visible(branch.label))}>
        <table>
          <thead>
            <tr>
              <th scope="col">{texts.records.record}</th>
              {fields.map((field) => (
                <th key={field.number} scope="col">
                  {visible(field.label)}
                </th>
              ))}
            </tr>
          </thead>
          <tbody>
            {records.slice(0, count).map((record) => (
              <tr key={record}>
                <th scope="row">
                  <a href={routeTo(number, record)} aria-label={texts.records.edit(record)}>
                    {record}
                  </a>
                </th>
                {fields.map((field) => (
                  <Cell key={field.number} app={app} field={field} record={record} />
                ))}
              </tr>
            ))}
          </tbody>
        </table>
      </div>
      {rest > 0 && (
        <button type="button" onClick={() => setCount(count + kPage)}>
          {texts.records.more(Math.min(rest, kPage))}
        </button>
      )}
    </div>
  );
}

export function RecordChooser({app, branch}: {app: Console; branch: Branch}) {
  const id = `another-${branch.node.number}`;
  const open = (event: TargetedSubmitEvent<HTMLFormElement>): void => {
    event.preventDefault();
    const record = String(new FormData(event.currentTarget).get('record'));
    if (/^\d+$/.test(record)) {
      app.put({searchText: ''});
      location.hash = routeTo(branch.node.number, Number(record));
    }
  };
  return (
    <form class="another" onSubmit={open}>
      <label for={id}>{texts.records.add}</label>
      <input
        id={id}
        name="record"
        class="number"
        inputMode="numeric"
        pattern="[0-9]+"
        placeholder={texts.records.number}
        required
      />
      <button type="submit">{texts.records.open}</button>
    </form>
  );
}
