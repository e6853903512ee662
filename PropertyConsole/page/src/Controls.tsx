// SPDX-License-Identifier: MIT
// What a value is entered with, for each type of field.
import type {TargetedEvent} from 'preact';
import {useRef, useState} from 'preact/hooks';
import type {Choice} from './api';
import type {LookupEntry} from './lookups';
import {choiceLabel, type Field} from './schema';
import {visible} from './show';
import {texts} from './texts';

export interface ControlProps {
  field: Field;
  id: string;
  /** Null for no value, undefined for one that is not told. */
  text: string | null | undefined;
  choices: readonly Choice[];
  /** What a lookup offers; other texts can be entered too. */
  entries: readonly LookupEntry[];
  isSecret: boolean;
  isReadOnly: boolean;
  isWrong: boolean;
  describedBy: string;
  onEnter: (text: string) => void;
  onLeave: () => void;
}

function attributesOf(props: ControlProps) {
  return {
    id: props.id,
    'aria-describedby': props.describedBy,
    'aria-invalid': props.isWrong,
    onBlur: props.onLeave,
  };
}

function Switch(props: ControlProps) {
  const isOn = props.text === '1';
  return (
    <span class="switch">
      <input
        {...attributesOf(props)}
        type="checkbox"
        role="switch"
        checked={isOn}
        disabled={props.isReadOnly}
        onInput={(event: TargetedEvent<HTMLInputElement>) =>
          props.onEnter(event.currentTarget.checked ? '1' : '0')
        }
      />
      <span aria-hidden="true">{isOn ? texts.field.on : texts.field.off}</span>
    </span>
  );
}

function ChoiceList(props: ControlProps) {
  const {text} = props;
  const offered = props.choices.filter(
    (choice) => !choice.hidden || String(choice.number) === text,
  );
  const held = text || '';
  const isOffered = offered.some((choice) => String(choice.number) === held);
  const heldChoice = props.field.choices?.find((choice) => String(choice.number) === held);
  return (
    <select
      {...attributesOf(props)}
      value={held}
      disabled={props.isReadOnly}
      onInput={(event: TargetedEvent<HTMLSelectElement>) =>
        props.onEnter(event.currentTarget.value)
      }
    >
      {!isOffered && (
        <option value={held}>
          {held === ''
            ? texts.field.noChoice
            : heldChoice
              ? visible(choiceLabel(heldChoice))
              : texts.field.unknownChoice(visible(held))}
        </option>
      )}
      {offered.map((choice) => (
        <option key={choice.number} value={String(choice.number)}>
          {visible(choiceLabel(choice))}
        </option>
      ))}
    </select>
  );
}

function Secret(props: ControlProps) {
  const [isRevealed, setRevealed] = useState(false);
  return (
    <span class="secret">
      <input
        {...attributesOf(props)}
        type={isRevealed ? 'text' : 'password'}
        autocomplete="new-password"
        value={props.text ?? ''}
        placeholder={props.text === undefined ? '••••••••' : ''}
        readOnly={props.isReadOnly}
        onInput={(event: TargetedEvent<HTMLInputElement>) =>
          props.onEnter(event.currentTarget.value)
        }
      />
      {props.text != null && (
        <button type="button" class="quiet" onClick={() => setRevealed(!isRevealed)}>
          {isRevealed ? texts.field.conceal : texts.field.reveal}
        </button>
      )}
    </span>
  );
}

function needsLines(text: string): boolean {
  return /[\r\n]/.test(text) || text.length > 120;
}

function Text(props: ControlProps) {
  const text = props.text ?? '';
  // Where somebody types, the control stays the same: another one would not have the keyboard.
  const hasLines = useRef(false);
  if (document.activeElement?.id !== props.id) {
    hasLines.current = needsLines(text);
  }
  const common = {
    ...attributesOf(props),
    value: text,
    readOnly: props.isReadOnly,
    spellcheck: false,
    autocomplete: 'off',
    onInput: (event: TargetedEvent<HTMLInputElement | HTMLTextAreaElement>) =>
      props.onEnter(event.currentTarget.value),
  };
  if (hasLines.current) {
    return <textarea {...common} rows={Math.min(8, text.split('\n').length + 1)} />;
  }
  const list = props.entries.length > 0 ? props.id + '-entries' : undefined;
  return (
    <>
      <input
        {...common}
        type="text"
        inputMode={props.field.type === 'integer' ? 'numeric' : 'text'}
        class={props.field.type === 'integer' ? 'number' : ''}
        {...(list ? {list} : {})}
      />
      {list && (
        <datalist id={list}>
          {props.entries.map((entry) => (
            <option key={entry.text} value={entry.text} label={entry.label || undefined} />
          ))}
        </datalist>
      )}
    </>
  );
}

export function Control(props: ControlProps) {
  if (props.isSecret) {
    return <Secret {...props} />;
  }
  switch (props.field.type) {
    case 'boolean':
      return <Switch {...props} />;
    case 'choice':
      return <ChoiceList {...props} />;
    default:
      return <Text {...props} />;
  }
}
