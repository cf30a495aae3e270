// SPDX-License-Identifier: MIT
// The site's search: a field in the title's line that finds every section with all words of the query, anywhere in a
// word, best first. scripts/search_index.py makes searchIndex: [page, title, [[anchor, heading, text], ...]] each.
"use strict";

const GUIDE = 4; // what a page of text is ahead of one of the reference
const SHOWN = 30;

// Every section with its words in small letters.
function searchSections() {
    return searchIndex.flatMap(([page, title, sections]) => sections.map(([anchor, heading, text]) => ({
        link: page + (anchor && heading ? "#" + anchor : ""), title, heading, text, guide: !/^(group__|struct|qel__)/.test(page),
        inTitle: title.toLowerCase(), inHeading: heading.toLowerCase(), inText: text.toLowerCase(),
    })));
}

// How well a place answers a word: 3 for the word itself, 2 where one begins with it, 1 where it is part of one.
function fit(place, word) {
    const at = place.indexOf(word);
    if (at < 0) return 0;
    const begins = new RegExp("(?<![\\p{L}\\p{N}])" + word.replace(/[.*+?^${}()|[\]\\]/g, "\\$&") + "(?![\\p{L}\\p{N}])", "u");
    if (begins.test(place)) return 3;
    return at === 0 || /[^\p{L}\p{N}]/u.test(place[at - 1]) ? 2 : 1;
}

function score(section, words) {
    let sum = section.guide ? GUIDE : 0;
    for (const word of words) {
        const title = fit(section.inTitle, word), heading = fit(section.inHeading, word), text = fit(section.inText, word);
        if (!title && !heading && !text) return 0;
        const often = Math.min(4, section.inText.split(word).length - 1);
        sum += 4 * title * (section.heading ? 0.5 : 1) + 5 * heading + 2 * text + often;
    }
    return sum;
}

function found(sections, query) {
    const words = query.toLowerCase().split(/\s+/).filter(Boolean);
    if (!words.length) return [];
    return sections.map(section => ({ section, score: score(section, words) })).filter(hit => hit.score > 0)
        .sort((a, b) => b.score - a.score).slice(0, SHOWN).map(hit => hit.section);
}

// A piece of text around the first word of the query, the words marked.
function excerpt(section, words) {
    const places = words.map(word => section.inText.indexOf(word)).filter(at => at >= 0);
    const start = places.length ? Math.max(0, section.text.lastIndexOf(" ", Math.min(...places) - 50)) : 0;
    let piece = section.text.slice(start, start + 170);
    if (start + 170 < section.text.length) piece = piece.slice(0, piece.lastIndexOf(" ")) + " …";
    if (start > 0) piece = "… " + piece;
    const line = document.createElement("span");
    const pattern = new RegExp("(" + words.map(word => word.replace(/[.*+?^${}()|[\]\\]/g, "\\$&")).join("|") + ")", "i");
    for (const [i, part] of piece.split(pattern).entries()) {
        if (i % 2) line.appendChild(document.createElement("mark")).textContent = part;
        else line.append(part);
    }
    return line;
}

function entry(section, words) {
    const item = document.createElement("li"), link = document.createElement("a"), name = document.createElement("b");
    link.href = section.link;
    name.textContent = section.title + (section.heading ? " › " + section.heading : "");
    link.append(name, excerpt(section, words));
    item.append(link);
    return item;
}

function makeSearch() {
    const sections = searchSections();
    const box = document.createElement("div"), field = document.createElement("input"), list = document.createElement("ol");
    box.id = "search";
    field.type = "search";
    field.placeholder = "Search";
    field.setAttribute("aria-label", "Search all pages");
    list.id = "search-results";
    list.hidden = true;
    box.append(field, list);
    document.getElementById("top").append(box);

    const show = () => {
        const words = field.value.toLowerCase().split(/\s+/).filter(Boolean), hits = found(sections, field.value);
        list.replaceChildren(...hits.map(section => entry(section, words)));
        if (words.length && !hits.length) list.append(document.createElement("li"));
        if (words.length && !hits.length) list.firstChild.textContent = "No page has these words.";
        list.hidden = !words.length;
    };
    const hide = () => { list.hidden = true; };
    const move = step => {
        const links = [...list.querySelectorAll("a")], at = links.indexOf(document.activeElement) + step;
        (at < 0 ? field : links[Math.min(at, links.length - 1)])?.focus();
    };
    field.addEventListener("input", show);
    field.addEventListener("focus", show);
    box.addEventListener("keydown", event => {
        if (event.key === "Escape") { hide(); field.focus(); hide(); }
        else if (event.key === "Enter" && event.target === field) list.querySelector("a")?.click();
        else if (event.key === "ArrowDown") move(1);
        else if (event.key === "ArrowUp") move(-1);
        else return;
        event.preventDefault();
    });
    document.addEventListener("keydown", event => {
        if (event.key === "/" && !/^(INPUT|TEXTAREA)$/.test(document.activeElement.tagName)) {
            event.preventDefault();
            field.focus();
        }
    });
    document.addEventListener("pointerdown", event => { if (!box.contains(event.target)) hide(); });
    list.addEventListener("click", hide); // a link into the page that is open leads away from nothing
}

makeSearch();
