// SPDX-License-Identifier: MIT
// What stands below each other in the main part of the page.
import type {Place} from './api';
import type {Condition, Dependencies, Reading} from './dependencies';
import {hasFields, isInView, type Branch, type Field, type View} from './schema';
import type {Values} from './values';

export type Row =
  | {kind: 'heading'; key: string; branch: Branch; level: number}
  | {kind: 'field'; key: string; field: Field; record: number | null; conditions: Condition[]}
  | {kind: 'away'; key: string; fields: Field[]; conditions: Condition[]}
  | {kind: 'records'; key: string; branch: Branch; fields: Field[]; records: number[]}
  | {kind: 'without'; key: string; branch: Branch}
  | {kind: 'link'; key: string; field: Field; count: number};

export interface RowSource {
  values: Values;
  dependencies: Dependencies;
  read: Reading;
  view: View;
}

/** The rows of fields at one record; neighbours that do not apply for the same reason share one. */
export function fieldRows(fields: readonly Field[], record: number | null, source: RowSource): Row[] {
  const rows: Row[] = [];
  for (const field of fields) {
    if (!isInView(field.visibility, source.view)) {
      continue;
    }
    const place: Place = {number: field.number, record};
    const {applies, conditions} = source.dependencies.of(place, source.read);
    const last = rows[rows.length - 1];
    if (applies) {
      rows.push({kind: 'field', key: `f${field.number}`, field, record, conditions});
    } else if (last?.kind === 'away' && isSame(last.conditions, conditions)) {
      last.fields.push(field);
    } else {
      rows.push({kind: 'away', key: `a${field.number}`, fields: [field], conditions});
    }
  }
  return rows;
}

function isSame(one: readonly Condition[], other: readonly Condition[]): boolean {
  return (
    one.length === other.length &&
    one.every((condition, index) => {
      const beside = other[index];
      return (
        beside !== undefined &&
        condition.field === beside.field &&
        condition.choice === beside.choice &&
        condition.wanted === beside.wanted &&
        condition.isOther === beside.isOther
      );
    })
  );
}

/** The rows of a container or group and of all below it. */
export function branchRows(branch: Branch, source: RowSource, level = 2): Row[] {
  if (!hasFields(branch, source.view)) {
    return [];
  }
  const fields = branch.fields.filter((field) => isInView(field.visibility, source.view));
  const records = source.values.recordsOf(fields);
  const rows: Row[] = [{kind: 'heading', key: `h${branch.node.number}`, branch, level}];
  if (records.length > 0) {
    rows.push({kind: 'records', key: `t${branch.node.number}`, branch, fields, records});
    rows.push({kind: 'without', key: `w${branch.node.number}`, branch});
  } else {
    rows.push(...fieldRows(fields, null, source));
  }
  for (const below of branch.branches) {
    rows.push(...branchRows(below, source, Math.min(level + 1, 6)));
  }
  return rows;
}

/** What a search has found. Values of records stand in the table of their group. */
export function foundRows(found: readonly Field[], source: RowSource): Row[] {
  return found.map((field) => {
    const count = source.values.recordsOf([field]).length;
    if (count > 0) {
      return {kind: 'link', key: `l${field.number}`, field, count};
    }
    const place = {number: field.number, record: null};
    const {applies, conditions} = source.dependencies.of(place, source.read);
    return applies
      ? {kind: 'field', key: `f${field.number}`, field, record: null, conditions}
      : {kind: 'away', key: `a${field.number}`, fields: [field], conditions};
  });
}
