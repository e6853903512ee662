// SPDX-License-Identifier: MIT
// Values of a file: looked at, tried out, and taken as edits.
import {useState} from 'preact/hooks';
import {kMostEdits, type Console} from './console';
import {Dialog} from './Dialog';
import {editedText, type Edits} from './edits';
import {problemText} from './FieldRow';
import {exportText, importEdits, readFile, type Import, type ValueFile} from './files';
import type {Schema} from './schema';
import {shownText, visible} from './show';
import {texts} from './texts';
import {keyOf, textOf} from './values';

const kMostShown = 100;
const kKept = 60000; // milliseconds in which the browser takes the file

/** Has the browser keep the values as a file. */
export function saveExport(app: Console): void {
  if (!app.schema) {
    return;
  }
  const text = exportText(app.schema, app.values, app.device);
  const address = URL.createObjectURL(new Blob([text], {type: 'application/json'}));
  const link = document.createElement('a');
  link.href = address;
  link.download = `properties-${app.device.replace(/[^0-9a-zA-Z]/g, '')}.json`;
  link.click();
  setTimeout(() => URL.revokeObjectURL(address), kKept);
}

interface Preview {
  found: Import;
  /** Why, by places. */
  refused: ReadonlyMap<string, string>;
  /** What is not refused. */
  taken: Edits;
}

/** By the page's own rules; the service has the last word when the edits are applied. */
function preview(app: Console, schema: Schema, file: ValueFile, from: string): Preview {
  const found = importEdits(file, from, schema, app.values);
  const refused = new Map<string, string>();
  for (const [key, edit] of found.edits) {
    const field = app.fieldOf(edit);
    const problem = field && problemText(field, edit.text);
    if (problem) {
      refused.set(key, problem);
    }
  }
  const fitting = [...found.edits].filter(([key]) => !refused.has(key));
  return {found, refused, taken: new Map(fitting.slice(0, kMostEdits))};
}

function PreviewTable({app, seen}: {app: Console; seen: Preview}) {
  const edits = [...seen.found.edits.values()];
  const refused = seen.refused.size;
  return (
    <>
      <p>{edits.length === 0 ? texts.files.same : texts.files.found(edits.length)}</p>
      {seen.found.unknown > 0 && <p>{texts.files.unknown(seen.found.unknown)}</p>}
      {seen.found.secrets > 0 && <p>{texts.files.secrets(seen.found.secrets)}</p>}
      {edits.length > kMostEdits && <p>{texts.files.tooMany(kMostEdits)}</p>}
      {refused > 0 && <p class="problem">{texts.files.refused(refused)}</p>}
      {edits.length > 0 && (
        <table class="cards">
          <thead>
            <tr>
              <th scope="col">{texts.review.property}</th>
              <th scope="col">{texts.review.from}</th>
              <th scope="col">{texts.review.to}</th>
            </tr>
          </thead>
          <tbody>
            {edits.slice(0, kMostShown).map((edit) => {
              const field = app.fieldOf(edit);
              const reason = seen.refused.get(keyOf(edit));
              return (
                field && (
                  <tr key={keyOf(edit)}>
                    <th scope="row">
                      {visible(field.label)}
                      {edit.record !== null && ` · ${texts.records.title(edit.record)}`}
                      {reason && <span class="problem">{visible(reason)}</span>}
                    </th>
                    <td data-label={texts.review.from}>
                      <bdi>{shownText(field, textOf(app.valueAt(field, edit.record)))}</bdi>
                    </td>
                    <td data-label={texts.review.to}>
                      <bdi>{shownText(field, editedText(edit, field))}</bdi>
                    </td>
                  </tr>
                )
              );
            })}
          </tbody>
        </table>
      )}
      {edits.length > kMostShown && <p>{texts.files.more(edits.length - kMostShown)}</p>}
    </>
  );
}

export function ImportDialog({app}: {app: Console}) {
  const [file, setFile] = useState<ValueFile | null>(null);
  const [from, setFrom] = useState('');
  const [seen, setSeen] = useState<Preview | null>(null);
  const [failure, setFailure] = useState('');
  const look = (chosen: ValueFile, device: string): void => {
    setFrom(device);
    setFailure('');
    setSeen(app.schema && preview(app, app.schema, chosen, device));
  };
  const choose = async (chosen: File | undefined): Promise<void> => {
    setSeen(null);
    setFailure('');
    if (!chosen) {
      return;
    }
    const read = readFile(await chosen.text());
    setFile(read);
    if (!read) {
      setFailure(texts.files.wrong);
      return;
    }
    const own = app.device.toLowerCase();
    look(read, read.devices.includes(own) ? own : (read.devices[0] ?? own));
  };
  const take = (): void => {
    if (seen) {
      app.addEdits(seen.taken);
      app.put({panel: null});
      app.review();
    }
  };
  return (
    <Dialog name="import" heading={texts.files.heading} onClose={() => app.put({panel: null})}>
      <div class="body">
        <label>
          {texts.files.choose}{' '}
          <input
            type="file"
            accept=".json,application/json"
            onChange={(event) => void choose(event.currentTarget.files?.[0])}
          />
        </label>
        {file && file.devices.length > 1 && (
          <label>
            {texts.files.of}{' '}
            <select value={from} onInput={(event) => look(file, event.currentTarget.value)}>
              {file.devices.map((device) => (
                <option key={device}>{device}</option>
              ))}
            </select>
          </label>
        )}
        <div role="status">
          {failure && <p class="problem">{failure}</p>}
          {seen && <PreviewTable app={app} seen={seen} />}
        </div>
      </div>
      <footer>
        <button
          type="button"
          class="main"
          disabled={!seen || seen.taken.size === 0}
          onClick={take}
        >
          {texts.files.take(seen?.taken.size ?? 0)}
        </button>
      </footer>
    </Dialog>
  );
}
