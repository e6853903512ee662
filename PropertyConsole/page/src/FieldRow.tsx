// SPDX-License-Identifier: MIT
// One property: its control, where its value comes from, and what there is to say of it.
import {Component} from 'preact';
import type {Choice, Value} from './api';
import {routeTo, type Console} from './console';
import {Control} from './Controls';
import type {Preset} from './dependencies';
import type {Edit} from './edits';
import {tableOf, type LookupEntry, type Table} from './lookups';
import {normalised, problemOf} from './patterns';
import type {Field} from './schema';
import {conditionText, shownText, visible} from './show';
import {texts} from './texts';
import {keyOf, textOf} from './values';

interface Props {
  app: Console;
  field: Field;
  record: number | null;
  value: Value;
  edit: Edit | undefined;
  mark: string | undefined;
  because: string;
  preset: Preset | null;
  choices: readonly Choice[];
  /** Of a lookup. */
  table: Table | null;
  entries: readonly LookupEntry[];
  showsPath: boolean;
  isReadOnly: boolean;
}

const kNoEntries: LookupEntry[] = [];

/** What a row of the list needs of the state; a row is made anew only when one of these differs. */
export function rowProps(
  app: Console,
  field: Field,
  record: number | null,
  because: string,
  showsPath: boolean,
): Props {
  const key = keyOf({number: field.number, record});
  const place = {number: field.number, record};
  const table = app.schema && tableOf(field, app.schema);
  return {
    app,
    field,
    record,
    value: app.valueAt(field, record),
    edit: app.edits.get(key),
    mark: app.marks.get(key),
    because,
    preset: app.dependencies?.presetOf(place, app.read) ?? null,
    choices: app.dependencies?.choicesOf(field, record, app.read) ?? [],
    table,
    entries: field.type === 'lookup' ? app.entriesOf(field, table) : kNoEntries,
    showsPath,
    isReadOnly: !app.may('operator'),
  };
}

/** Why the field may not have the text, for people; empty when it may. */
export function problemText(field: Field, text: string | null): string {
  const problem = problemOf(field, text);
  if (problem === 'pattern') {
    const pattern = field.pattern ?? '';
    return pattern === '^([0-9]\\d*)$'
      ? texts.problems.digits
      : texts.problems.pattern(visible(pattern));
  }
  return problem === null ? '' : texts.problems[problem];
}

export class FieldRow extends Component<Props> {
  override shouldComponentUpdate(next: Props): boolean {
    const {value, choices, preset, table, entries, ...others} = next;
    return (
      JSON.stringify(value) !== JSON.stringify(this.props.value) ||
      table?.column !== this.props.table?.column ||
      JSON.stringify(entries) !== JSON.stringify(this.props.entries) ||
      choices.map(({number}) => number).join() !==
        this.props.choices.map(({number}) => number).join() ||
      preset?.text !== this.props.preset?.text ||
      (Object.keys(others) as (keyof typeof others)[]).some(
        (name) => others[name] !== this.props[name],
      )
    );
  }

  render(props: Props) {
    const {app, field, record, value, edit, isReadOnly} = props;
    const id = `p${field.number}-${record ?? ''}`;
    const text = edit ? (edit.text ?? field.default ?? null) : textOf(value);
    const problem = problemText(field, edit ? edit.text : null);
    const className = ['row', edit && 'edited', edit?.conflict && 'conflict', props.mark && 'marked'];
    return (
      <div class={className.filter(Boolean).join(' ')} data-property={field.name}>
        <div class="name">
          <label for={id}>{visible(field.label)}</label>
          <small>
            <bdi>{visible((props.showsPath ? field.path : field.name) ?? '')}</bdi>
            {field.scope === 'system' && ` · ${texts.field.system}`}
          </small>
        </div>
        <div class="control">
          <Control
            field={field}
            id={id}
            text={text}
            choices={props.choices}
            entries={props.entries}
            isSecret={value.secret}
            isReadOnly={isReadOnly}
            isWrong={problem !== '' || (edit !== undefined && edit.refused !== '')}
            describedBy={id + '-notes'}
            onEnter={(entered) => app.edit(field, record, entered)}
            onLeave={() => this.leave()}
          />
        </div>
        <div class="notes" id={id + '-notes'}>
          {this.notes(problem)}
          {props.table && !value.secret && this.tableNote(props.table, text)}
        </div>
        <div class="actions">{this.actions()}</div>
      </div>
    );
  }

  private leave(): void {
    const {app, field, record, edit} = this.props;
    if (edit?.text) {
      const text = normalised(field, edit.text);
      if (text !== edit.text) {
        app.edit(field, record, text);
        return;
      }
    }
    app.settle(field, record);
  }

  private notes(problem: string) {
    const {app, field, record, value, edit, mark, because, preset} = this.props;
    const now = app.read({number: field.number, record});
    const wants = preset !== null && now !== undefined && now !== preset.text;
    return (
      <>
        {this.provenance()}
        {edit && (
          <span class="badge edit">
            {value.secret
              ? texts.field.editedSecret
              : texts.field.edited(shownText(field, textOf(value)))}
          </span>
        )}
        {mark && <span class="badge mark">{texts.field.changed(mark)}</span>}
        {because && <span class="quiet">{texts.field.because(because)}</span>}
        {value.secret && <span class="quiet">{texts.field.secret}</span>}
        {value.value_hex !== undefined && (
          <span class="quiet">{texts.field.noText(value.value_hex.slice(0, 64))}</span>
        )}
        {wants && (
          <span>
            {texts.field.preset(shownText(field, preset.text), conditionText(preset.condition))}{' '}
            {!this.props.isReadOnly && (
              <button type="button" onClick={() => app.edit(field, record, preset.text)}>
                {texts.field.usePreset}
              </button>
            )}
          </span>
        )}
        {problem && <span class="problem">{problem}</span>}
        {edit?.refused && !problem && <span class="problem">{texts.field.refused(visible(edit.refused))}</span>}
        {edit?.conflict && <ConflictChooser app={app} edit={edit} field={field} />}
      </>
    );
  }

  private tableNote(table: Table, text: string | null | undefined) {
    const {app, entries} = this.props;
    const {branch} = table;
    const isOther = text != null && text !== '' && !entries.some((entry) => entry.text === text);
    return (
      <span class="quiet">
        {texts.field.table}{' '}
        <a href={routeTo(branch.node.number)} onClick={() => app.put({searchText: ''})}>
          {visible(branch.label)}
        </a>
        {isOther && ` · ${texts.field.notInTable}`}
      </span>
    );
  }

  private provenance() {
    const {field, value, edit} = this.props;
    const isDefault = edit ? !edit.text : value.source !== 'server';
    const fallback = shownText(field, field.default ?? null);
    if (isDefault) {
      const text = field.default == null ? texts.field.isNone : texts.field.isDefault;
      return <span class="badge">{text}</span>;
    }
    const told = texts.field.defaultIs(fallback);
    return <span class="quiet">{edit ? told : `${texts.field.isStored} · ${told}`}</span>;
  }

  private actions() {
    const {app, field, record, value, edit, isReadOnly} = this.props;
    const name = visible(field.label);
    const canReset = value.source === 'server' && !edit;
    return (
      <>
        {edit && (
          <button
            type="button"
            class="quiet"
            aria-label={texts.field.undoLabel(name)}
            onClick={() => app.takeBack(edit)}
          >
            {texts.field.undo}
          </button>
        )}
        {canReset && !isReadOnly && (
          <button
            type="button"
            class="quiet"
            aria-label={texts.field.resetLabel(name)}
            onClick={() => app.edit(field, record, null)}
          >
            {texts.field.reset}
          </button>
        )}
        <button
          type="button"
          class="quiet"
          aria-label={texts.field.historyLabel(name)}
          onClick={() => app.transactions.showHistory({number: field.number, record})}
        >
          {texts.field.history}
        </button>
      </>
    );
  }
}

export function ConflictChooser({app, edit, field}: {app: Console; edit: Edit; field: Field}) {
  return (
    <span class="chooser" role="group">
      <span class="problem">
        {texts.conflict.text(shownText(field, textOf(edit.conflict ?? undefined)))}
      </span>{' '}
      <button type="button" onClick={() => app.decide(edit, true)}>
        {texts.conflict.mine}
      </button>{' '}
      <button type="button" onClick={() => app.decide(edit, false)}>
        {texts.conflict.theirs}
      </button>
    </span>
  );
}
