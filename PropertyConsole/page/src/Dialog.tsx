// SPDX-License-Identifier: MIT
// A dialog that keeps the keyboard to itself until it is closed, by the page or by the browser.
import type {ComponentChildren} from 'preact';
import {useEffect, useRef} from 'preact/hooks';
import {texts} from './texts';

interface Props {
  name: string;
  heading: string;
  onClose: () => void;
  children: ComponentChildren;
  /** Stands at the side and is as high as the window. */
  isDrawer?: boolean;
}

export function Dialog({name, heading, onClose, children, isDrawer}: Props) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const before = document.activeElement;
    dialog.current?.showModal();
    return () => {
      if (before instanceof HTMLElement) {
        before.focus();
      }
    };
  }, []);
  const close = (event: Event): void => {
    event.preventDefault();
    onClose();
  };
  return (
    <dialog
      ref={dialog}
      id={name}
      class={isDrawer ? 'drawer' : ''}
      aria-labelledby={name + '-heading'}
      onCancel={close}
      onClose={onClose}
    >
      <header>
        <h2 id={name + '-heading'}>{heading}</h2>
        <button type="button" class="quiet" onClick={close}>
          {texts.close}
        </button>
      </header>
      {children}
    </dialog>
  );
}
