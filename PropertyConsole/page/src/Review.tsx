// SPDX-License-Identifier: MIT
// All edits before they are applied as one transaction.
import {useEffect, useState} from 'preact/hooks';
import type {Place} from './api';
import {kMostEdits, type Console} from './console';
import {Dialog} from './Dialog';
import {changesOf, conflictsIn, editedText, type Edit} from './edits';
import {ConflictChooser, problemText} from './FieldRow';
import {isInView} from './schema';
import {shownText, visible} from './show';
import {texts} from './texts';
import {textOf} from './values';

function namesOf(app: Console, places: readonly Place[]): string {
  const names = places
    .map((place) => app.fieldOf(place))
    .filter((field) => isInView(field?.visibility, app.view))
    .map((field) => visible(field?.label ?? ''));
  return [...new Set(names)].join(', ');
}

function ReviewRow({app, edit}: {app: Console; edit: Edit}) {
  const field = app.fieldOf(edit);
  if (!field) {
    return null;
  }
  const value = app.valueAt(field, edit.record);
  const name = visible(field.label);
  const after = shownText(field, editedText(edit, field));
  const problem = problemText(field, edit.text);
  return (
    <tr>
      <th scope="row">
        {name}
        {edit.record !== null && ` · ${texts.records.title(edit.record)}`}
        <small>
          <bdi>{visible(field.path ?? '')}</bdi>
        </small>
        {problem && <span class="problem">{problem}</span>}
        {edit.refused && !problem && <span class="problem">{texts.field.refused(visible(edit.refused))}</span>}
        {edit.conflict && <ConflictChooser app={app} edit={edit} field={field} />}
      </th>
      <td data-label={texts.review.from}>
        <bdi>{value.secret ? texts.review.secret : shownText(field, textOf(value))}</bdi>
      </td>
      <td data-label={texts.review.to}>
        <bdi>
          {!edit.text
            ? texts.review.toDefault(after)
            : value.secret
              ? texts.review.secret
              : after}
        </bdi>
      </td>
      <td>
        <button
          type="button"
          class="quiet"
          aria-label={texts.field.undoLabel(name)}
          onClick={() => app.takeBack(edit)}
        >
          {texts.field.undo}
        </button>
      </td>
    </tr>
  );
}

export function Review({app}: {app: Console}) {
  const [isSafe, setSafe] = useState(false);
  const edits = [...app.edits.values()];
  const conflicts = conflictsIn(app.edits);
  const appearing = namesOf(app, app.effects.appear);
  const vanishing = namesOf(app, app.effects.vanish);
  const wanted = JSON.stringify(changesOf(app.edits));
  useEffect(() => {
    if (!app.isStale) {
      void app.transactions.tryOut();
    }
  }, [app, app.isStale, wanted]);
  const canApply = !app.isStale && !app.isBlocked && !app.isApplying && edits.length > 0;
  return (
    <Dialog name="review" heading={texts.review.heading} onClose={() => app.put({panel: null})}>
      <div class="body">
        <p>{texts.review.transaction}</p>
        <table class="cards">
          <thead>
            <tr>
              <th scope="col">{texts.review.property}</th>
              <th scope="col">{texts.review.from}</th>
              <th scope="col">{texts.review.to}</th>
              <td />
            </tr>
          </thead>
          <tbody>
            {edits.map((edit) => (
              <ReviewRow key={`${edit.number}/${edit.record}`} app={app} edit={edit} />
            ))}
          </tbody>
        </table>
        <div role="status">
          {appearing && <p>{texts.review.appear(appearing)}</p>}
          {vanishing && <p>{texts.review.vanish(vanishing)}</p>}
          {conflicts > 0 && <p class="problem">{texts.review.conflicts(conflicts)}</p>}
          {edits.length > kMostEdits && (
            <p class="problem">{texts.review.tooMany(kMostEdits)}</p>
          )}
          {conflicts === 0 && app.isBlocked && <p class="problem">{texts.review.problems}</p>}
          {app.failure && <p class="problem">{app.failure}</p>}
        </div>
      </div>
      <footer>
        <label class="check">
          <input
            type="checkbox"
            checked={isSafe}
            onInput={(event) => setSafe(event.currentTarget.checked)}
          />
          {texts.review.safely}
        </label>
        <button type="button" onClick={() => app.takeAllBack()}>
          {texts.review.discard}
        </button>
        <button
          type="button"
          class="main"
          disabled={!canApply}
          onClick={() => void app.transactions.apply(isSafe)}
        >
          {app.isApplying ? texts.review.applying : texts.review.apply(edits.length)}
        </button>
      </footer>
    </Dialog>
  );
}
