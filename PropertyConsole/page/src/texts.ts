// SPDX-License-Identifier: MIT
// All that the page says. Another language is another object of this type.

function plural(count: number, one: string, many: string): string {
  return `${count} ${count === 1 ? one : many}`;
}

export const texts = {
  title: 'Property console',
  skip: 'Skip to the properties',
  loading: 'Loading …',
  cancel: 'Cancel',
  close: 'Close',
  retry: 'Try again',

  signIn: {
    heading: 'Sign in',
    user: 'User',
    password: 'Password',
    button: 'Sign in',
    over: 'Your session is over. Sign in again to go on; your edits are still there.',
    failed: 'No such user, or a wrong password.',
    tooMany: 'Too many attempts. Wait half a minute.',
    out: 'Sign out',
    as: (user: string, role: string) => `${user} (${role})`,
  },

  roles: {viewer: 'viewer', operator: 'operator', administrator: 'administrator'},

  connection: {
    label: 'Connection',
    live: 'Live',
    polling: 'Asked every few seconds',
    connecting: 'Connecting …',
    consoleAway: 'The console does not answer',
    serverAway: 'The property server is away',
    stale: (time: string) =>
      `These are the values of ${time}; they may have changed since. Nothing can be applied now.`,
  },

  tree: {
    label: 'Containers and groups',
    menu: 'Menu',
    homeless: 'Others',
    open: (name: string) => `Show what is in ${name}`,
    empty: 'This view has nothing here. Advanced properties are in the advanced view.',
  },

  view: {
    label: 'View',
    basic: 'Basic view',
    advanced: 'Advanced view',
    all: 'All, also hidden',
  },

  theme: {label: 'Colours', system: 'As the system', light: 'Light', dark: 'Dark'},

  device: {
    label: 'Device',
    own: (address: string) => `${address} (this device)`,
    discard: (count: number) =>
      `${plural(count, 'edit', 'edits')} of the other device will be dropped. Go on?`,
    discardButton: 'Drop and change the device',
  },

  search: {
    label: 'Search names and descriptions',
    results: (count: number) => plural(count, 'property', 'properties') + ' found',
    none: 'Nothing found in this view.',
  },

  field: {
    number: (number: number) => `number ${number}`,
    isDefault: 'Default',
    isStored: 'Set',
    isNone: 'No value',
    defaultIs: (text: string) => `Default: ${text}`,
    noDefault: 'no value',
    system: 'for all devices',
    reset: 'Reset',
    resetLabel: (name: string) => `Reset ${name} to its default`,
    undo: 'Take edit back',
    undoLabel: (name: string) => `Take back the edit of ${name}`,
    history: 'History',
    historyLabel: (name: string) => `History of ${name}`,
    on: 'On',
    off: 'Off',
    noChoice: 'None',
    unknownChoice: (text: string) => `${text} (no known choice)`,
    secret: 'A secret. What you enter takes its place.',
    reveal: 'Show',
    conceal: 'Conceal',
    table: 'Entries come from the records of',
    notInTable: 'none of them has this',
    noText: (hex: string) => `This is no text; its bytes are ${hex}. What you enter takes its place.`,
    edited: (former: string) => `Edited; it is ${former}`,
    editedSecret: 'Edited',
    changed: (time: string) => `Changed at ${time}`,
    preset: (text: string, because: string) => `${text} goes with it, because ${because}.`,
    usePreset: 'Take it',
    because: (conditions: string) => `Applies because ${conditions}.`,
    wouldApply: (names: string, conditions: string) => `${names}: only while ${conditions}.`,
    records: (count: number) => `This property has values of ${plural(count, 'record', 'records')}.`,
    showRecords: 'Show them',
    refused: (reason: string) => `Refused: ${reason}`,
  },

  conditions: {
    is: (name: string, choice: string) => `“${name}” is “${choice}”`,
    isNot: (name: string, choice: string) => `“${name}” is not “${choice}”`,
    on: (name: string) => `“${name}” is on`,
    off: (name: string) => `“${name}” is off`,
    has: (name: string) => `“${name}” has a value`,
    hasNone: (name: string) => `“${name}” has no value`,
    or: ' or ',
  },

  problems: {
    number: 'This has to be a whole number from −2147483648 to 2147483647.',
    choice: 'This is none of the choices.',
    boolean: 'This has to be on or off.',
    pattern: (pattern: string) => `This does not match the pattern ${pattern}`,
    digits: 'This has to be digits alone.',
    long: 'This is too long for a text with a pattern.',
  },

  conflict: {
    text: (theirs: string) => `Somebody else has changed this to ${theirs} meanwhile.`,
    mine: 'Keep my edit',
    theirs: 'Take the new value',
  },

  records: {
    heading: (name: string) => `Records of ${name}`,
    record: 'Record',
    title: (record: number) => `Record ${record}`,
    edit: (record: number) => `Edit record ${record}`,
    more: (count: number) => `Show ${count} more`,
    add: 'Another record',
    number: 'Number of the record',
    open: 'Open',
    without: 'Values of no record',
    back: (name: string) => `All records of ${name}`,
    secret: '(secret)',
  },

  review: {
    button: (count: number) => `Review ${plural(count, 'edit', 'edits')}`,
    none: 'No edits',
    heading: 'Review and apply',
    property: 'Property',
    from: 'Now',
    to: 'Then',
    toDefault: (text: string) => `${text} (default)`,
    secret: '(secret)',
    apply: (count: number) => `Apply ${plural(count, 'edit', 'edits')}`,
    applying: 'Applying …',
    discard: 'Drop all edits',
    safely: 'Take it back unless this page still reaches the device within a minute',
    appear: (names: string) => `Will appear: ${names}`,
    vanish: (names: string) => `Will no longer apply: ${names}`,
    conflicts: (count: number) =>
      `${plural(count, 'value has', 'values have')} changed meanwhile. Decide before you apply.`,
    problems: 'Some edits cannot be applied. Correct them or take them back.',
    tooMany: (most: number) => `At most ${most} edits can be applied as one.`,
    transaction: 'All edits are applied as one, or none is.',
  },

  applied: {
    text: (transaction: number) => `Applied as transaction ${transaction}.`,
    undo: 'Undo',
    undone: (transaction: number) => `Undone by transaction ${transaction}.`,
    undoConflict: 'It cannot be undone: somebody has changed one of its values since.',
    confirming: (seconds: number) =>
      `Applied, and being confirmed. Otherwise it is taken back in ${plural(seconds, 'second', 'seconds')}.`,
    confirmed: 'Applied and confirmed: the device can still be reached.',
    takenBack: 'The change was not confirmed in time and has been taken back.',
  },

  history: {
    heading: 'History',
    of: (name: string) => `History of ${name}`,
    button: 'History',
    empty: 'Nothing is known.',
    when: 'When',
    who: 'Who',
    what: 'Property',
    from: 'From',
    to: 'To',
    transaction: 'Transaction',
    removed: '(removed)',
    none: '(none)',
    secret: '(secret)',
    undo: (transaction: number) => `Undo ${transaction}`,
    undoes: (transaction: number) => `undoes ${transaction}`,
    by: (user: string, program: string) => (program === '' ? user : `${user}, ${program}`),
  },

  files: {
    export: 'Export',
    import: 'Import',
    heading: 'Import values',
    choose: 'File of an export or of “property dump”',
    of: 'Values of the device',
    wrong: 'This is no file of values.',
    found: (count: number) => plural(count, 'value differs', 'values differ') + ' from those here.',
    same: 'Nothing in it differs from the values here.',
    unknown: (count: number) =>
      `${plural(count, 'value is', 'values are')} of numbers that the schema does not have, and left out.`,
    secrets: (count: number) => `${plural(count, 'secret has', 'secrets have')} no text, and stay as they are.`,
    refused: (count: number) => `${plural(count, 'value is', 'values are')} refused, and left out.`,
    take: (count: number) => `Take ${plural(count, 'value', 'values')} as edits`,
    more: (count: number) => `and ${count} more`,
    tooMany: (most: number) => `At most ${most} can be applied as one; the others are left out.`,
  },

  keys: {
    heading: 'Keys',
    button: 'Keys',
    list: [
      ['/', 'Search'],
      ['g', 'Containers and groups'],
      ['r', 'Review the edits'],
      ['h', 'History'],
      ['Esc', 'Close what is open, or end the search'],
      ['?', 'These keys'],
    ] as const,
  },

  failures: {
    away: 'The console does not answer.',
    other: (message: string) => `It has failed: ${message}`,
    busy: 'The console has no room for more at the moment.',
    role: 'Your role does not allow this.',
    gone: 'There is no such transaction any more.',
  },
};

export type Texts = typeof texts;
