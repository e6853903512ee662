// SPDX-License-Identifier: MIT
// How long to wait before trying again what could not be had.

/** Each pause is about twice as long as the one before, up to the longest. */
export class Pauses {
  private next: number;

  /** Milliseconds. `random` is from 0 to 1: not all pages are to come back in the same instant. */
  constructor(
    private readonly first: number,
    private readonly longest: number,
    private readonly random: () => number = Math.random,
  ) {
    this.next = first;
  }

  /** What has worked begins anew with the first pause. */
  reset(): void {
    this.next = this.first;
  }

  /** Milliseconds; not fewer than the service asks for. */
  take(asked = 0): number {
    const pause = this.next * (0.75 + this.random() / 2);
    this.next = Math.min(this.next * 2, this.longest);
    return Math.max(pause, asked);
  }
}

const kMostAsked = 60000; // milliseconds that a service may ask for

/** The milliseconds of an answer's header Retry-After; 0 where it has none, or a date. */
export function retryAfter(header: string | null): number {
  return header !== null && /^\d{1,6}$/.test(header) ? Math.min(Number(header) * 1000, kMostAsked) : 0;
}
