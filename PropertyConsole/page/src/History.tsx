// SPDX-License-Identifier: MIT
// Who has changed what.
import type {HistoryEntry} from './api';
import type {Console} from './console';
import {Dialog} from './Dialog';
import {dateAndTime, shownText, visible, whoOf} from './show';
import {texts} from './texts';

function told(app: Console, entry: HistoryEntry, text: string | null | undefined): string {
  const field = app.fieldOf(entry);
  if (entry.secret && text == null) {
    return texts.history.secret;
  }
  if (text == null) {
    return texts.history.none;
  }
  return field ? shownText(field, text) : visible(text);
}

function Entry({app, entry, isFirst}: {app: Console; entry: HistoryEntry; isFirst: boolean}) {
  const field = app.fieldOf(entry);
  const {transaction} = entry;
  return (
    <li>
      <div>
        <strong>{visible(field?.label ?? String(entry.number))}</strong>
        {entry.record !== null && ` · ${texts.records.title(entry.record)}`}
      </div>
      <div>
        <bdi>{told(app, entry, entry.former)}</bdi> →{' '}
        <bdi>{entry.removed ? texts.history.removed : told(app, entry, entry.value)}</bdi>
      </div>
      <small>
        {dateAndTime(entry.time)} · {texts.history.by(whoOf(entry), visible(entry.program ?? ''))}
        {transaction !== null && ` · ${texts.history.transaction} ${transaction}`}
        {entry.undoes !== null && ` · ${texts.history.undoes(entry.undoes)}`}
      </small>
      {isFirst && transaction !== null && app.may('operator') && (
        <button type="button" class="quiet" onClick={() => void app.transactions.undo(transaction)}>
          {texts.history.undo(transaction)}
        </button>
      )}
    </li>
  );
}

export function History({app}: {app: Console}) {
  const {of, entries} = app.history;
  const field = of && app.fieldOf(of);
  const seen = new Set<number | null>();
  return (
    <Dialog
      name="history"
      heading={field ? texts.history.of(visible(field.label)) : texts.history.heading}
      onClose={() => app.put({panel: null})}
      isDrawer
    >
      <div class="body">
        {app.failure && <p class="problem">{app.failure}</p>}
        {entries === null && <p>{texts.loading}</p>}
        {entries?.length === 0 && <p>{texts.history.empty}</p>}
        <ol class="history">
          {entries?.map((entry, index) => {
            const isFirst = !seen.has(entry.transaction);
            seen.add(entry.transaction);
            return <Entry key={index} app={app} entry={entry} isFirst={isFirst} />;
          })}
        </ol>
      </div>
    </Dialog>
  );
}
