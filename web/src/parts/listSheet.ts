// What all pages with lists of the network are drawn by, once for however many of them are opened.

import css from "../styles/network.part.css";
import { addSheet } from "./sheet";

addSheet(css);
