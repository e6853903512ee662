// SPDX-License-Identifier: MIT
// How values, times and conditions are said to people.
import type {Condition} from './dependencies';
import {choiceLabel, type Field} from './schema';
import {texts} from './texts';

const kLongest = 200; // characters of a value where it is only told

/** Line ends, other control characters and those that turn the direction, made visible. */
export function visible(text: string): string {
  // eslint-disable-next-line no-control-regex
  return text.replace(/[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ufeff]/g, (character) => {
    const code = character.charCodeAt(0);
    return code < 0x20
      ? String.fromCharCode(0x2400 + code)
      : '\\u' + code.toString(16).padStart(4, '0');
  });
}

function shortened(text: string): string {
  return text.length > kLongest ? text.slice(0, kLongest) + ' …' : text;
}

/** A stored text as the field means it. */
export function shownText(field: Field, text: string | null | undefined): string {
  if (text === undefined) {
    return texts.records.secret;
  }
  if (text === null || text === '') {
    return texts.field.noDefault;
  }
  if (field.type === 'boolean' && (text === '0' || text === '1')) {
    return text === '1' ? texts.field.on : texts.field.off;
  }
  if (field.type === 'choice') {
    const choice = field.choices?.find((offered) => String(offered.number) === text);
    return visible(choice ? choiceLabel(choice) : texts.field.unknownChoice(shortened(text)));
  }
  return visible(shortened(text));
}

export function conditionText(condition: Condition): string {
  const name = visible(condition.field.label);
  if (condition.choice) {
    const choice = visible(choiceLabel(condition.choice));
    return condition.isOther ? texts.conditions.isNot(name, choice) : texts.conditions.is(name, choice);
  }
  if (condition.field.type === 'boolean') {
    return condition.wanted ? texts.conditions.on(name) : texts.conditions.off(name);
  }
  return condition.wanted ? texts.conditions.has(name) : texts.conditions.hasNone(name);
}

export function conditionsText(conditions: readonly Condition[]): string {
  return [...new Set(conditions.map(conditionText))].join(texts.conditions.or);
}

export function timeOfDay(time: Date): string {
  return time.toLocaleTimeString();
}

/** Of microseconds since 1970. */
export function dateAndTime(microseconds: number): string {
  return new Date(microseconds / 1000).toLocaleString();
}

export function whoOf(change: {user?: string; person?: string; program?: string}): string {
  return visible(change.person ?? change.user ?? '');
}
