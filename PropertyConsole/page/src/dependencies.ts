// SPDX-License-Identifier: MIT
// What governs whether a field applies, which choices it offers and which value goes with another.
import type {Choice, Dependency, Place} from './api';
import type {Field, Schema} from './schema';

/** What a field reads as, edits first: null for nothing, undefined where that is not known. */
export type Reading = (place: Place) => string | null | undefined;

/** Something that has to be so of the governing field. */
export interface Condition {
  field: Field;
  /** The choice that the field has; null: see `wanted`. */
  choice: Choice | null;
  /** What a boolean field is, or whether another has a value. */
  wanted: boolean;
  /** For a choice: whether it is meant, or any other. */
  isOther: boolean;
}

/** A value that goes with another field's. */
export interface Preset {
  condition: Condition;
  text: string;
}

export interface Applicability {
  applies: boolean;
  /** Alternatives: of what has failed, else of all that governs. */
  conditions: Condition[];
}

interface Restriction {
  condition: Condition;
  choice: number;
  isOther: boolean;
}

const kDeepest = 8; // fields that govern one another in a row
const kAlways: Applicability = {applies: true, conditions: []};

function addTo<Key, Item>(map: Map<Key, Item[]>, key: Key, item: Item): void {
  const list = map.get(key);
  if (list) {
    list.push(item);
  } else {
    map.set(key, [item]);
  }
}

/** The dependencies of a schema, made ready to be asked. */
export class Dependencies {
  private readonly conditions = new Map<number, Condition[]>();
  private readonly presets = new Map<number, Preset[]>();
  private readonly restrictions = new Map<number, Restriction[]>();

  constructor(schema: Schema) {
    for (const dependency of schema.dependencies) {
      const condition = this.conditionOf(schema, dependency);
      if (condition) {
        this.add(schema, dependency, condition);
      }
    }
  }

  /**
   * Whether the field applies at that record. Of fields that govern each other, only the values
   * count.
   */
  of(place: Place, read: Reading, above: ReadonlySet<number> = new Set()): Applicability {
    const conditions = this.conditions.get(place.number);
    if (!conditions || above.size > kDeepest) {
      return kAlways;
    }
    const groups = new Map<number, Condition[]>();
    for (const condition of conditions) {
      if (!above.has(condition.field.number)) {
        addTo(groups, condition.field.number, condition);
      }
    }
    const round = new Set(above).add(place.number);
    for (const [governing, group] of groups) {
      const outer = this.of({number: governing, record: place.record}, read, round);
      if (!outer.applies) {
        return outer;
      }
      if (!group.some((condition) => this.holds(condition, place.record, read))) {
        return {applies: false, conditions: group};
      }
    }
    return {applies: true, conditions};
  }

  /** The choices of a field that go with what governs it. */
  choicesOf(field: Field, record: number | null, read: Reading): Choice[] {
    let choices = field.choices ?? [];
    for (const {condition, choice, isOther} of this.restrictions.get(field.number) ?? []) {
      if (this.holds(condition, record, read)) {
        choices = choices.filter((offered) => (offered.number === choice) !== isOther);
      }
    }
    return choices;
  }

  /** The value that goes with what governs the field now; null where there is none or several. */
  presetOf(place: Place, read: Reading): Preset | null {
    const presets = (this.presets.get(place.number) ?? []).filter((preset) =>
      this.holds(preset.condition, place.record, read),
    );
    return presets.length === 1 ? (presets[0] ?? null) : null;
  }

  private holds(condition: Condition, record: number | null, read: Reading): boolean {
    const text = read({number: condition.field.number, record});
    if (text === undefined) {
      return true;
    }
    if (condition.choice) {
      return (text === String(condition.choice.number)) !== condition.isOther;
    }
    const none = condition.field.type === 'boolean' || condition.field.type === 'integer' ? '0' : '';
    return (text !== null && text !== '' && text !== none) === condition.wanted;
  }

  private conditionOf(schema: Schema, dependency: Dependency): Condition | null {
    const isOther = dependency.mode === 0;
    const ofChoice = schema.fieldOfChoice.get(dependency.source);
    if (ofChoice) {
      return {field: ofChoice.field, choice: ofChoice.choice, wanted: true, isOther};
    }
    const field = schema.fieldOf.get(dependency.source);
    return field ? {field, choice: null, wanted: !isOther, isOther: false} : null;
  }

  private add(schema: Schema, dependency: Dependency, condition: Condition): void {
    const target = schema.fieldOf.get(dependency.target);
    const targetChoice = schema.fieldOfChoice.get(dependency.target);
    const value = dependency.value ?? null;
    const isOther = dependency.mode === 0;
    if (targetChoice) {
      const active = {...condition, wanted: true, isOther: false};
      const choice = dependency.target;
      const restriction = {condition: active, choice, isOther};
      addTo(this.restrictions, targetChoice.field.number, restriction);
    } else if (!target) {
      return;
    } else if (value === null) {
      addTo(this.conditions, target.number, condition);
    } else if (isValueOfSource(condition, target, value)) {
      const wanted = (value === 'true') !== isOther;
      addTo(this.conditions, target.number, {...condition, wanted});
    } else if (!isOther) {
      addTo(this.presets, target.number, {condition, text: storedText(target, value)});
    }
  }
}

/** Truth values stand for the governing field's where the governed one has none. */
function isValueOfSource(condition: Condition, target: Field, value: string): boolean {
  return (
    condition.choice === null &&
    condition.field.type === 'boolean' &&
    target.type !== 'boolean' &&
    (value === 'true' || value === 'false')
  );
}

function storedText(target: Field, value: string): string {
  return target.type === 'boolean' && (value === 'true' || value === 'false')
    ? value === 'true'
      ? '1'
      : '0'
    : value;
}
