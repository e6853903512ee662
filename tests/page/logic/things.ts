// SPDX-License-Identifier: MIT
// Small schemas and values for the tests.
import type {Dependency, FieldType, SchemaNode, Value} from '@page/api';
import {Schema, type Field} from '@page/schema';

/** Below the group 10, unless told otherwise. */
export function field(number: number, type: FieldType, more: Partial<SchemaNode> = {}): SchemaNode {
  return {
    number,
    parent: 10,
    kind: 'field',
    name: `Field${number}`,
    path: `Device/Group/Field${number}`,
    description: `Description ${number}`,
    visibility: 'shown',
    type,
    scope: 'device',
    pattern: '',
    default: null,
    choices: [],
    ...more,
  };
}

export function choices(...numbers: number[]): SchemaNode['choices'] {
  return numbers.map((number) => ({
    number,
    name: `Choice${number}`,
    description: `Choice ${number}`,
    hidden: false,
  }));
}

export function schemaOf(fields: SchemaNode[], dependencies: Dependency[] = []): Schema {
  return new Schema({
    nodes: [
      {number: 1, parent: null, kind: 'container', name: 'Device', visibility: 'shown'},
      {number: 10, parent: 1, kind: 'group', name: 'Group', visibility: 'shown'},
      ...fields,
    ],
    dependencies,
  });
}

export function fieldOf(node: SchemaNode): Field {
  const found = schemaOf([node]).fieldOf.get(node.number);
  if (!found) {
    throw new Error('no field');
  }
  return found;
}

export function stored(number: number, value: string, record: number | null = null): Value {
  return {number, record, secret: false, value, source: 'server'};
}
