// SPDX-License-Identifier: MIT
// A long list of which only what is seen, and a little around it, is there.
import {Component, createRef, type ComponentChildren} from 'preact';

const kChunk = 24; // rows that come and go together

interface ChunkProps {
  isFirst: boolean;
  count: number;
  rowHeight: number;
  renderRows: () => ComponentChildren;
}

/** Some rows, or a space of their height. */
class Chunk extends Component<ChunkProps, {isSeen: boolean}> {
  override state = {isSeen: this.props.isFirst};
  private readonly room = createRef<HTMLDivElement>();
  private observer: IntersectionObserver | undefined;
  private height = 0;

  override componentDidMount(): void {
    this.observer = new IntersectionObserver((entries) => this.see(entries), {
      rootMargin: '800px 0px',
    });
    if (this.room.current) {
      this.observer.observe(this.room.current);
    }
  }

  override componentWillUnmount(): void {
    this.observer?.disconnect();
  }

  /** Where the keyboard is, rows stay. */
  private see(entries: IntersectionObserverEntry[]): void {
    const room = this.room.current;
    const last = entries[entries.length - 1];
    if (!room || !last) {
      return;
    }
    if (!last.isIntersecting && this.state.isSeen) {
      this.height = room.offsetHeight;
    }
    this.setState({isSeen: last.isIntersecting || room.contains(document.activeElement)});
  }

  render({count, rowHeight, renderRows}: ChunkProps, {isSeen}: {isSeen: boolean}) {
    const minHeight = isSeen ? '' : `${this.height || count * rowHeight}px`;
    return (
      <div ref={this.room} style={{minHeight}}>
        {isSeen && renderRows()}
      </div>
    );
  }
}

interface Props<Item> {
  items: readonly Item[];
  rowHeight: number;
  /** Another list begins at its top. */
  name: string;
  render: (item: Item) => ComponentChildren;
}

export function Chunks<Item>({items, rowHeight, name, render}: Props<Item>) {
  const chunks = [];
  for (let begin = 0; begin < items.length; begin += kChunk) {
    const part = items.slice(begin, begin + kChunk);
    chunks.push(
      <Chunk
        key={`${name}:${begin}`}
        isFirst={begin === 0}
        count={part.length}
        rowHeight={rowHeight}
        renderRows={() => part.map(render)}
      />,
    );
  }
  return <>{chunks}</>;
}
