// SPDX-License-Identifier: MIT
// The schema as a tree, and its search.
import type {Choice, Dependency, SchemaAnswer, SchemaNode} from './api';

export interface Field extends SchemaNode {
  label: string;
  /** What a search looks through, in small letters. */
  haystack: string;
}

/** A container or group. */
export interface Branch {
  node: SchemaNode;
  label: string;
  parent: Branch | null;
  branches: Branch[];
  fields: Field[];
}

export type View = 'basic' | 'advanced' | 'all';

/** The display text; the name where there is none; the number where neither is text. */
export function labelOf(node: {description?: string; name?: string; number: number}): string {
  return node.description || node.name || String(node.number);
}

export function choiceLabel(choice: Choice): string {
  return labelOf(choice);
}

/** Whether a view shows what has this visibility. */
export function isInView(visibility: SchemaNode['visibility'] | undefined, view: View): boolean {
  return visibility === 'shown' || view === 'all' || (visibility === 'advanced' && view !== 'basic');
}

/** The schema, unchanging. */
export class Schema {
  readonly roots: Branch[] = [];
  readonly fields: Field[] = [];
  readonly fieldOf = new Map<number, Field>();
  readonly branchOf = new Map<number, Branch>();
  readonly fieldOfChoice = new Map<number, {field: Field; choice: Choice}>();
  readonly dependencies: Dependency[];

  constructor(answer: SchemaAnswer) {
    this.dependencies = answer.dependencies;
    for (const node of answer.nodes) {
      if (node.kind !== 'field') {
        this.branchOf.set(node.number, {
          node,
          label: labelOf(node),
          parent: null,
          branches: [],
          fields: [],
        });
      }
    }
    for (const node of answer.nodes) {
      if (node.kind === 'field') {
        this.addField(node);
      } else {
        this.placeBranch(node);
      }
    }
  }

  /** The fields whose name, path or descriptions have all the words, in the order of the tree. */
  search(text: string, view: View): Field[] {
    const words = text.toLowerCase().split(/\s+/).filter(Boolean);
    return this.fields.filter(
      (field) =>
        isInView(field.visibility, view) && words.every((word) => field.haystack.includes(word)),
    );
  }

  private addField(node: SchemaNode): void {
    const parent = node.parent === null ? undefined : this.branchOf.get(node.parent);
    const choices = node.choices ?? [];
    const field: Field = {
      ...node,
      label: labelOf(node),
      haystack: [node.number, node.name, node.path, node.description, parent?.label]
        .concat(choices.map(choiceLabel))
        .join('\n')
        .toLowerCase(),
    };
    this.fields.push(field);
    this.fieldOf.set(field.number, field);
    for (const choice of choices) {
      this.fieldOfChoice.set(choice.number, {field, choice});
    }
    (parent ?? this.homeless()).fields.push(field);
  }

  private placeBranch(node: SchemaNode): void {
    const branch = this.branchOf.get(node.number);
    const parent = node.parent === null ? undefined : this.branchOf.get(node.parent);
    if (branch && parent && !this.liesIn(parent, branch)) {
      branch.parent = parent;
      parent.branches.push(branch);
    } else if (branch) {
      this.roots.push(branch);
    }
  }

  private liesIn(branch: Branch, above: Branch): boolean {
    for (let at: Branch | null = branch; at; at = at.parent) {
      if (at === above) {
        return true;
      }
    }
    return false;
  }

  /** Where fields are that lie nowhere. */
  private homeless(): Branch {
    let branch = this.branchOf.get(0);
    if (!branch) {
      const node: SchemaNode = {number: 0, parent: null, kind: 'container', visibility: 'shown'};
      branch = {node, label: '', parent: null, branches: [], fields: []};
      this.branchOf.set(0, branch);
      this.roots.push(branch);
    }
    return branch;
  }
}

/** Whether anything in it is shown in that view. */
export function hasFields(branch: Branch, view: View): boolean {
  return (
    branch.fields.some((field) => isInView(field.visibility, view)) ||
    branch.branches.some((below) => hasFields(below, view))
  );
}
