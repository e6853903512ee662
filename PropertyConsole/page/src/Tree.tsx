// SPDX-License-Identifier: MIT
// The containers and groups to choose from.
import {routeTo, type Console} from './console';
import {hasFields, type Branch} from './schema';
import {visible} from './show';
import {texts} from './texts';

function liesBelow(branch: Branch, number: number | null): boolean {
  return (
    branch.node.number === number || branch.branches.some((below) => liesBelow(below, number))
  );
}

function BranchItem({app, branch}: {app: Console; branch: Branch}) {
  const number = branch.node.number;
  const below = branch.branches.filter((inner) => hasFields(inner, app.view));
  const isCurrent = app.route.branch === number && app.searchText === '';
  const name = visible(branch.label) || texts.tree.homeless;
  const isOpen = liesBelow(branch, app.route.branch);
  return (
    <li>
      <a
        href={routeTo(number)}
        aria-current={isCurrent ? 'page' : undefined}
        onClick={() => app.put({isMenuOpen: false, searchText: ''})}
      >
        {name}
      </a>
      {below.length > 0 && (branch.parent === null || isOpen) && (
        <ul>
          {below.map((inner) => (
            <BranchItem key={inner.node.number} app={app} branch={inner} />
          ))}
        </ul>
      )}
    </li>
  );
}

export function Tree({app}: {app: Console}) {
  const roots = (app.schema?.roots ?? []).filter((branch) => hasFields(branch, app.view));
  return (
    <nav id="tree" class={app.isMenuOpen ? 'open' : ''} aria-label={texts.tree.label}>
      <ul>
        {roots.map((branch) => (
          <BranchItem key={branch.node.number} app={app} branch={branch} />
        ))}
      </ul>
    </nav>
  );
}
