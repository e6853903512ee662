// SPDX-License-Identifier: MIT
// Whether a field may have a text: the same rules as the service's, which has the last word.
import type {Field} from './schema';

export type TextProblem = 'number' | 'choice' | 'boolean' | 'pattern' | 'long';

const kLongestForPattern = 4096;

/** One character for each byte, as the service's expressions see the text. */
function asBytes(text: string): string {
  let bytes = '';
  for (const byte of new TextEncoder().encode(text)) {
    bytes += String.fromCharCode(byte);
  }
  return bytes;
}

const known = new Map<string, RegExp | null>();

/** Null for what browsers do not understand, or understand otherwise. */
function expressionOf(pattern: string): RegExp | null {
  let expression = known.get(pattern);
  if (expression === undefined) {
    expression = null;
    if (!/\[[:.=]/.test(pattern)) {
      try {
        expression = new RegExp(`^(?:${asBytes(pattern)})$`);
      } catch {
        // The service says what it thinks of it.
      }
    }
    known.set(pattern, expression);
  }
  return expression;
}

export function matchesPattern(text: string, pattern: string): boolean {
  return expressionOf(pattern)?.test(asBytes(text)) ?? true;
}

function isWholeNumber(text: string): boolean {
  return /^-?\d{1,10}$/.test(text) && Number(text) >= -2147483648 && Number(text) <= 2147483647;
}

/** A number without sign and zeros before it, as it is stored; other texts as they are. */
export function normalised(field: Field, typed: string): string {
  const text = typed.trim();
  if (field.type !== 'integer' || !/^[+-]?\d{1,15}$/.test(text)) {
    return typed;
  }
  return String(Number(text));
}

export function problemOf(field: Field, text: string | null): TextProblem | null {
  if (text === null || text === '') {
    return null;
  }
  if (field.type === 'choice') {
    return field.choices?.some((choice) => String(choice.number) === text) ? null : 'choice';
  }
  if (field.type === 'integer' && !isWholeNumber(text)) {
    return 'number';
  }
  if (field.type === 'boolean' && text !== '0' && text !== '1') {
    return 'boolean';
  }
  if (!field.pattern) {
    return null;
  }
  if (new TextEncoder().encode(text).length > kLongestForPattern) {
    return 'long';
  }
  return matchesPattern(text, field.pattern) ? null : 'pattern';
}
